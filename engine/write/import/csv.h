// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvspc::engine::import {

// Reads a file of comma, semicolon or tab separated cells record by record. The separator is that
// of the header: a tab if it has one, else a semicolon if it has one, else the comma. CRLF, a byte
// order mark, quoted cells and blank lines are taken as they come; blanks around a cell go.
// Everything that cannot be read is thrown as platform::ExternalFailure with file and line.
class CsvReader {
 public:
  explicit CsvReader(const std::string& path);

  // False at the end of the file. Fails when a record is longer than 1 MB, has a byte 0, is no
  // UTF-8, has an open quote or another number of cells than the header.
  bool Next();
  // Takes the next record when it equals the latest one, byte for byte, but for a finite number
  // without blanks and quotes in this cell. Otherwise takes nothing, and Next() is to be called.
  // Cells() stay, but for that cell, for which Differs() says nothing.
  bool NextAlike(std::size_t cell, double& value);

  // Of the latest record; valid until the next call.
  const std::vector<std::string_view>& Cells() const { return cells_; }
  // Whether a cell differs from that of the record before.
  bool Differs(std::size_t cell) const { return cells_[cell] != before_[cell]; }
  std::int64_t Line() const { return line_; }
  std::int64_t BytesRead() const { return bytes_read_; }
  std::int64_t FileSize() const { return file_size_; }

  // Throws the one-line message: file, line, column, the value cut to 60 characters, the reason.
  // FILE: line 3, column "usl", value "1": reason.
  std::string PlaceText(std::int64_t line, std::string_view column, std::string_view value,
                        std::string_view reason) const;
  [[noreturn]] void Refuse(std::string_view column, std::string_view value,
                           std::string_view reason) const {
    RefuseAt(line_, column, value, reason);
  }
  [[noreturn]] void RefuseAt(std::int64_t line, std::string_view column, std::string_view value,
                             std::string_view reason) const;

 private:
  struct FileCloser {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };

  // The next record without its line end; empty view with at_end_ at the end. line_end_ says what
  // follows it.
  std::string_view TakeRecord();
  bool Fill();
  void KeepCells();
  // Takes and splits the next record in one pass. Takes nothing unless all of it is in the buffer
  // and it is neither blank nor quoted nor to be refused.
  bool TakePlainRecord();
  void Split(std::string_view record);
  void SplitQuoted(std::string_view record);

  std::string path_;
  std::unique_ptr<std::FILE, FileCloser> file_;
  std::vector<char> buffer_;         // with kSlack bytes after what is read
  std::size_t begin_ = 0, end_ = 0;  // what of the buffer is not yet taken
  bool file_done_ = false, at_end_ = false;
  std::vector<std::string_view> cells_, before_;  // of the latest record and the one before
  std::vector<char> unquoted_, unquoted_before_;  // text of their quoted cells
  // The latest record with its line end, in the buffer or, once that was filled again, in kept_.
  std::string_view record_;
  std::vector<char> kept_;
  std::int64_t record_lines_ = 0;
  // What of the latest record lies around the cell that NextAlike() was asked for.
  std::string_view ahead_, behind_;
  enum class Alike { Unknown, Possible, Impossible } alike_ = Alike::Impossible;
  std::size_t alike_cell_ = 0;
  std::size_t columns_ = 0;
  char separator_ = ',';
  std::int64_t line_ = 0, next_line_ = 1;
  std::int64_t bytes_read_ = 0, file_size_ = 0;
};

}  // namespace orvspc::engine::import
