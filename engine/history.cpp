// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "engine/QualityDatabase.h"
#include "engine/audit/DataCheck.h"
#include "engine/store/DraftFile.h"
#include "engine/store/SqlStore.h"
#include "engine/write/log/Reading.h"

// The log of a database, for hosts.
namespace orvspc {

using namespace engine;

std::vector<LogEntry> QualityDatabase::Log(const LogFilter& filter) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return log::ReadEntries(db, filter);
  });
}

LogAnchor QualityDatabase::LogHead() const {
  return store::Read(*database_,
                     [](store::SqlStore&, sql::Connection& db) { return log::ReadHead(db); });
}

LogAnchor QualityDatabase::AnchorLog(const std::string& file) const {
  auto head = LogHead();
  if (!log::AppendAnchor(file, head)) {
    store::RefuseFile(file, std::string("cannot be written: ") + std::strerror(errno));
  }
  return head;
}

LogCheck QualityDatabase::VerifyLog(const LogCheckOptions& options) const {
  std::optional<std::string> anchors;
  if (!options.anchors.empty()) {
    anchors = log::ReadAnchors(options.anchors);
    if (!anchors) store::RefuseFile(options.anchors, "cannot be read");
  }
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    auto check = options.with_data ? audit::CheckLogAndData(db) : log::CheckChain(db);
    if (anchors && log::CheckAnchors(db, *anchors, options.anchors, check) == 0) {
      store::RefuseFile(options.anchors, "has no line of this database");
    }
    return check;
  });
}

}  // namespace orvspc
