// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include "tests/postgres/test_stores.h"

namespace orvspc::host {

// A folder of its own that goes away with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    path_ = (std::filesystem::temp_directory_path() / "orvspc-XXXXXX").string();
    if (!mkdtemp(path_.data())) throw std::runtime_error("no temporary folder");
    stores_ = std::make_unique<tests::Stores>(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    stores_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& Path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }
  // Of a database: a path or an address.
  std::string Store(const std::string& name) const { return stores_->At(name); }
  void RemoveStore(const std::string& name) const { stores_->Remove(name); }

 private:
  std::string path_;
  std::unique_ptr<tests::Stores> stores_;
};

}  // namespace orvspc::host
