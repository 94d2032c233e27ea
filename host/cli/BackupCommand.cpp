// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <utility>

#include "engine/QualityDatabase.h"
#include "host/cli/Command.h"
#include "host/cli/Output.h"
#include "host/render/core/PlainText.h"

namespace orvspc::cli {

namespace {

constexpr Option kTo{"to", "PLACE", "the file to make, or the folder to make it in"};

int Run(const Arguments& arguments, Console& console) {
  const auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  const auto to = arguments.Required(kTo);
  BackupOptions options;
  if (console.err_is_terminal) {
    options.progress = [&console](int percent) {
      ShowProgress(console, "backup: " + std::to_string(percent) + " %");
    };
  }
  const auto report = [&] {
    const ClearedLine cleared{console};
    return database.Backup(to, options);
  }();
  console.out << render::PlainText(report.path) << ": " << report.bytes << " bytes, whole\n";
  return 0;
}

}  // namespace

Command BackupCommand() {
  return {
      "backup",
      "--db FILE --to PLACE [OPTIONS]",
      "Copies a database file page by page while others write",
      "The copy is the state of one moment. It is looked through and on the device before it has "
      "its name; when something fails there is no file.\n"
      "In a folder it is named after database and time: q-20240229T123000Z.db, in UTC.",
      "orvspc backup --db q.db --to /backups",
      {kDatabase, kTo},
      Run};
}

}  // namespace orvspc::cli
