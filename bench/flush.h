// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>

// The flush of a device: 4096 bytes and fdatasync.
namespace bench {

class FlushedFile {
 public:
  explicit FlushedFile(const std::string& path)
      : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644)) {}
  FlushedFile(const FlushedFile&) = delete;
  FlushedFile& operator=(const FlushedFile&) = delete;
  ~FlushedFile() { close(file_); }

  // After the end of the file, whose size is flushed too.
  void Append() const { Flush(write(file_, kPage.data(), kPage.size())); }
  // Over the first bytes, which are there: the least that a flush can take.
  void Overwrite() const { Flush(pwrite(file_, kPage.data(), kPage.size(), 0)); }

 private:
  static constexpr std::array<std::byte, 4096> kPage{};

  void Flush(ssize_t written) const {
    if (written != static_cast<ssize_t>(kPage.size()) || fdatasync(file_) != 0) {
      throw std::runtime_error("the device cannot be written to");
    }
  }

  int file_;
};

}  // namespace bench
