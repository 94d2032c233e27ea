// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <string>

#include "engine/QualityDatabase.h"
#include "host/cli/Command.h"
#include "host/cli/Output.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Text.h"

namespace orvspc::cli {

namespace {

constexpr Option kTo{"to", "PLACE", "the file to make, or the folder to make it in"};
constexpr Number kKeep{
    {"keep", "N", "in a folder, deletes all but the newest N backups", "all"}, 1, 100'000};
constexpr Option kAsCopy{"as-copy", nullptr, "the copy goes on as a database of its own"};

int RunBackupCommand(const Arguments& arguments, Console& console) {
  const auto path = arguments.Required(kDatabase), to = arguments.Required(kTo);
  BackupOptions options{.keep = arguments.Get(kKeep),
                        .as_copy = arguments.Has(kAsCopy),
                        .actor = ActorOf(arguments),
                        .reason = ReasonOf(arguments),
                        .progress = {}};
  if (options.keep && options.as_copy) throw Misuse("--keep and --as-copy exclude each other");
  const auto database = QualityDatabase::Open(path);
  if (console.err_is_terminal) {
    options.progress = [&console](int percent) {
      ShowProgress(console, "backup: " + std::to_string(percent) + " %");
    };
  }
  const auto report = [&] {
    const ClearedLine cleared{console};
    return database.Backup(to, options);
  }();
  console.out << render::PlainText(report.path) << ": "
              << render::Counted(static_cast<std::size_t>(report.bytes), "byte") << ", whole\n";
  for (const auto& old : report.deleted) {
    console.out << render::PlainText(old) << ": deleted\n";
  }
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
      "In a folder it is named after database and time: q-20240229T123000Z.db, in UTC. With "
      "--keep older ones of the same database that are named so are deleted, and nothing "
      "else.\n"
      "--as-copy gives the copy another identity and an entry of the log, for a database that "
      "is worked in beside the first.",
      "orvspc backup --db q.db --to /backups --keep 14",
      {kDatabase, kTo, kKeep, kAsCopy, kBy, kStation, kReason},
      RunBackupCommand};
}

}  // namespace orvspc::cli
