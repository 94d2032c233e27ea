// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "engine/QualityDatabase.h"
#include "engine/audit/DataCheck.h"
#include "engine/log/Reading.h"
#include "engine/store/DraftFile.h"
#include "engine/store/SqlStore.h"
#include "system/system.h"

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
  std::ofstream out(system::PathOf(file), std::ios::binary | std::ios::app);
  out << log::AnchorText(head) << "\n" << std::flush;
  if (!out || !system::Flush(file)) {
    store::RefuseFile(file, std::string("cannot be written: ") + std::strerror(errno));
  }
  return head;
}

LogCheck QualityDatabase::VerifyLog(const LogCheckOptions& options) const {
  std::ostringstream anchors;
  if (!options.anchors.empty()) {
    std::ifstream in(system::PathOf(options.anchors), std::ios::binary);
    if (!in) store::RefuseFile(options.anchors, "cannot be read");
    if (in.peek() != std::ifstream::traits_type::eof()) anchors << in.rdbuf();
  }
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    auto check = options.with_data ? audit::CheckLogAndData(db) : log::CheckChain(db);
    if (options.anchors.empty()) return check;
    if (log::CheckAnchors(db, anchors.str(), options.anchors, check) == 0) {
      log::AddFind(check, options.anchors + " has no line of this database");
    }
    return check;
  });
}

}  // namespace orvspc
