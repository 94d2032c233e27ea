// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <string>

#include "engine/QualityDatabase.h"
#include "host/cli/Command.h"
#include "host/cli/Output.h"
#include "host/render/core/PlainText.h"

namespace orvspc::cli {

namespace {

constexpr Option kQuick{"quick", nullptr, "what is looked at without it, too"};

// 1,234,567
std::string Grouped(std::int64_t count) {
  auto text = std::to_string(count);
  for (auto at = static_cast<std::ptrdiff_t>(text.size()) - 3; at > 0; at -= 3) {
    text.insert(static_cast<std::size_t>(at), 1, ',');
  }
  return text;
}

std::string Subgroups(std::int64_t count) {
  return Grouped(count) + (count == 1 ? " subgroup" : " subgroups");
}

int RunCheckCommand(const Arguments& arguments, Console& console) {
  CheckOptions options;
  if (console.err_is_terminal) {
    options.progress = [&console](std::int64_t count) {
      ShowProgress(console, "check: " + Grouped(count) + " measurements");
    };
  }
  const auto report = [&] {
    const ClearedLine cleared{console};
    return QualityDatabase::Check(arguments.Required(kDatabase), options);
  }();
  for (const auto& find : report.finds) {
    console.out << render::PlainText(find.place + ": " + find.reason) << "\n";
  }
  if (report.left_out != 0) console.out << "and " << Grouped(report.left_out) << " more\n";
  if (report.finds.empty()) {
    console.out << "checked: " << Subgroups(report.subgroups) << ", whole\n";
  }
  return report.finds.empty() ? 0 : 1;
}

}  // namespace

Command CheckCommand() {
  return {"check",
          "--db FILE [OPTIONS]",
          "Looks whether a database is whole",
          "Pages of the file and their structure, references between rows, checksums, order and "
          "numbers of what is packed, identifiers given, limits and phases. Not what values say.\n"
          "A line for each thing that is not as the program wrote it, and exit status 1. A file "
          "that cannot even be opened is a failure.",
          "orvspc check --db q.db",
          {kDatabase, kQuick},
          RunCheckCommand};
}

}  // namespace orvspc::cli
