// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <charconv>

#include "host/cli/SubgroupOptions.h"

namespace orvspc::cli {

namespace {

constexpr Number kTsno{{"tsno", "N", "the piece that it is about", "the whole subgroup"}, 0};

constexpr unsigned kOfAdd = 1;
std::array<PartOfOptions, 1> OfAdd() {
  return {{{kOfAdd, {kOfPart, kOfProcess, kOfTest, kLabel, kAt, kTsno}}}};
}

std::int64_t CommentOf(const Arguments& arguments) {
  const auto& words = arguments.Positional();
  if (words.size() < 2) throw Misuse("which comment?");
  std::int64_t id = 0;
  const auto* const end = words[1].data() + words[1].size();
  const auto read = std::from_chars(words[1].data(), end, id);
  if (read.ec != std::errc() || read.ptr != end) {
    throw Misuse("a comment has a number, not \"" + words[1] + "\"");
  }
  return id;
}

// The last word, which is not among the words before this place.
const std::string& TextOf(const Arguments& arguments, std::size_t place) {
  if (arguments.Positional().size() <= place) throw Misuse("which text?");
  return arguments.Positional().back();
}

std::int32_t SubgroupOfAdd(const Arguments& arguments, const QualityDatabase& database) {
  // "comment add TEXT" finds it by options, "comment add #4711 TEXT" by its number.
  const std::span words(arguments.Positional());
  return SubgroupOf(arguments, database, words.subspan(1, words.size() - 2));
}

int RunCommentCommand(const Arguments& arguments, Console& console) {
  const auto verb = VerbOf(arguments, {"add", "edit", "remove"});
  RefuseOthers(arguments, OfAdd(), verb == "add" ? kOfAdd : 0, "comment " + verb);
  auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  const auto options = ChangeOptionsOf(arguments);
  if (verb == "add") {
    const auto& text = TextOf(arguments, 1);
    const auto id = database.AddComment(SubgroupOfAdd(arguments, database),
                                        TestOf(arguments, database).value_or(0),
                                        arguments.Get(kTsno).value_or(0), text, options);
    console.out << "comment " << id << (options.dry_run ? " would be added\n" : "\n");
  } else if (verb == "edit") {
    const auto id = CommentOf(arguments);
    database.ChangeComment(id, TextOf(arguments, 2), options);
    if (options.dry_run) console.out << "comment " << id << " would be changed\n";
  } else {
    const auto id = CommentOf(arguments);
    database.RemoveComment(id, options);
    if (options.dry_run) console.out << "comment " << id << " would be removed\n";
  }
  return 0;
}

}  // namespace

Command CommentCommand() {
  return {"comment",
          "--db FILE add|edit|remove ... [OPTIONS]",
          "Adds, changes and removes comments of subgroups",
          "comment add SUBGROUP TEXT [--test NAME --tsno N]\n"
          "comment edit NUMBER TEXT --reason TEXT\n"
          "comment remove NUMBER --reason TEXT\n"
          "SUBGROUP is #4711; without it --part, --process, --label and --at say which.",
          "orvspc comment add '#17' 'new tool' --db q.db",
          Together(std::vector<Option>{kDatabase}, OptionsOf(OfAdd()),
                   std::vector<Option>{kBy, kStation, kReason, kExpect, kDryRun}),
          RunCommentCommand,
          3};
}

}  // namespace orvspc::cli
