// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

namespace orvspc::engine::store {

// Throws platform::ExternalFailure with file and reason.
[[noreturn]] void RefuseFile(const std::string& path, const std::string& reason);

// Where the file lies itself. Links are followed one by one, since the last may point at a file
// that is yet to be made.
std::string TargetOf(const std::string& path);

// "." for a file of the folder that the program runs in.
std::string FolderOf(const std::string& path);

// Removes a database and what SQLite keeps beside it. What cannot be removed stays.
void RemoveFiles(const std::string& path);

// Refuses a place without a database, or with an empty file, where a log of another database lies:
// SQLite would replay or remove it.
void CheckNoLogLeft(const std::string& path);

// Refuses what was meant as an address, where no such file is.
void CheckNotMistyped(const std::string& path);

// A new database that is filled under another name beside its place, so that a failure leaves no
// file behind and no other program sees it half made.
//
// Failures are platform::ExternalFailure and name the database, not the draft.
class DraftFile {
 public:
  // Makes the draft, an empty file, unless there is a file at the place already. With like it may
  // be read by whoever may read that file.
  explicit DraftFile(std::string path, const std::string& like = {});
  DraftFile(const DraftFile&) = delete;
  DraftFile& operator=(const DraftFile&) = delete;
  // Removes what is not in place.
  ~DraftFile();

  // There was a file at the place already: nothing else to do here.
  bool IsThere() const { return draft_.empty(); }

  // Runs work with the name of the draft. Work closes what it opens.
  void Fill(const std::function<void(const std::string& draft)>& work) const;

  // Empties the log into the draft, flushes it to the device and gives it its name. False: another
  // program has made a file of that name meanwhile, which stays.
  bool PutInPlace();

 private:
  std::string path_, target_, draft_;
};

}  // namespace orvspc::engine::store
