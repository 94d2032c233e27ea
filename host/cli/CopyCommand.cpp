// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "host/cli/Analysis.h"
#include "host/render/core/PlainText.h"

namespace orvspc::cli {

namespace {

constexpr Option kTo{"to", "FILE", "the database to copy into; made if it is not there"};
constexpr Number kMaxCopied = MaximumOption("the newest N subgroups at most; 0: all", "all");

// Whether the command line narrows the data.
bool IsNarrowed(const Arguments& arguments) {
  if (arguments.Has(kMaxCopied)) return true;
  return std::ranges::any_of(SelectionOptions(), [&](const Option& option) {
    return std::string_view(option.name) != kDatabase.name && arguments.Has(option);
  });
}

std::function<void(std::int64_t)> Progress(Console& console) {
  if (!console.err_is_terminal) return {};
  return [&console](std::int64_t count) {
    ShowProgress(console, "copy: " + std::to_string(count) + " measurements");
  };
}

int RunCopyCommand(const Arguments& arguments, Console& console) {
  const auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  const std::string to = arguments.Required(kTo);
  CopyOptions options{.selection = {},
                      .progress = Progress(console),
                      .actor = ActorOf(arguments),
                      .reason = ReasonOf(arguments)};
  if (IsNarrowed(arguments)) {
    const auto select = MakeSelection(arguments, kMaxCopied, database);
    select->IncludeVariableTests(true);
    select->IncludeDefectTests(true);
    select->IncludeDefectiveTests(true);
    if (!NamesStates(arguments)) {
      select->IncludeEnabled(true);
      select->IncludeIncomplete(true);
      select->IncludeDisabled(true);
    }
    Array<std::int32_t> filter;
    auto& chosen = options.selection.emplace();
    select->API_GetData(chosen.info, filter);
    chosen.filter.assign(filter.Elements().begin(), filter.Elements().end());
  }
  const auto report = [&] {
    const ClearedLine cleared{console};
    return database.CopyTo(to, options);
  }();
  render::TextWriter text(TextOptionsOf(arguments, console));
  text.Line(render::Counted(static_cast<std::size_t>(report.measurements), "measurement") + ", " +
            render::Counted(static_cast<std::size_t>(report.rows), "row") + " copied and compared");
  text.Line("digest " + report.digest);
  console.out << text.Take();
  return 0;
}

}  // namespace

Command CopyCommand() {
  return {
      "copy",
      "--db FILE --to FILE [OPTIONS]",
      "Copies a database, or the selected subgroups of it",
      "The database to copy into is made, or is there and holds nothing yet. Names, limits, "
      "events and everything else that belongs to no subgroup is copied whole. Both are "
      "compared at the end; the digest is the same for every database of the same content.",
      "orvspc copy --db q.db --to archive.db --until 2023-12-31",
      Together(SelectionOptions(), std::vector<Option>{kMaxCopied, kTo, kBy, kStation, kReason}),
      RunCopyCommand};
}

}  // namespace orvspc::cli
