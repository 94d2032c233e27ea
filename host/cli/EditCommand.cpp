// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <ostream>

#include "host/cli/AlarmOutput.h"
#include "host/cli/SubgroupOptions.h"
#include "host/render/core/PlainText.h"
#include "platform/Enumerations.h"

namespace orvspc::cli {

namespace {

constexpr Option kTo{"to", "VALUE", "what it becomes: a flag, a value, a name"};
constexpr Number kTsno{{"tsno", "N", "the piece; of counts the unit, 0: of none",
                        "the only one that fits; of counts those without a unit"},
                       0};
constexpr Number kSbno{{"sbno", "N", "the reading inside the piece", "the piece itself"}, 0};
constexpr Option kRemove{"remove", nullptr, "take the value out"};
constexpr Option kAdd{"add", nullptr, "put a value in; without --tsno as the next piece"};
constexpr Option kForce{"force", nullptr, "values beyond the reasonable limits, too"};
constexpr Option MayBeEmpty(Option option) {
  option.may_be_empty = true;
  return option;
}

constexpr Option kOfValue[] = {
    MayBeEmpty({"defect", "CODE", "the count of this defect; empty: of none"}),
    {"serial", "NAME", "the value with this serial number; with --add the one that it gets"},
    {"gage", "NAME", "likewise"}};
constexpr Option kKeepChanged{"keep-changed", nullptr,
                              "undo an import but for records that were changed since"};
constexpr Option kTime{"time", "TIME", "the new time of the subgroup"};
constexpr Option kNewLabel{"new-label", "TEXT", "the new label of the subgroup"};
constexpr Option kSize{"size", "N", "the new size that was inspected"};
constexpr Option kContext[] = {MayBeEmpty({"job", "NAME", "the new job; empty takes it away"}),
                               MayBeEmpty({"lot", "NAME", "likewise; a new name is added"}),
                               MayBeEmpty({"shift", "NAME", "likewise"}),
                               MayBeEmpty({"revision", "NAME", "likewise"}),
                               MayBeEmpty({"workstation", "NAME", "likewise"}),
                               MayBeEmpty({"employee", "NAME", "likewise"})};

// What one run of the command works with.
struct Edit {
  const Arguments& arguments;
  QualityDatabase database;
  ChangeOptions options;
  std::ostream& out;

  const std::string& Word(std::size_t place, const char* question) const {
    const auto& words = arguments.Positional();
    if (words.size() <= place) throw Misuse(question);
    return words[place];
  }
  // The words after the verb.
  std::span<const std::string> Subgroups() const {
    return std::span(arguments.Positional()).subspan(1);
  }
  double Value(const Option& option) const {
    const auto text = arguments.Required(option);
    double value = 0.0;
    const auto* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, value);
    if (read.ec != std::errc() || read.ptr != end || !std::isfinite(value)) {
      throw Misuse("--" + std::string(option.name) + ": " + text +
                   " is no number; the decimal sign is a point");
    }
    return value;
  }
};

using Changes = std::vector<ChangedRecord>;

Changes EditFlag(Edit& edit) {
  const auto word = edit.arguments.Required(kTo);
  const auto flag = FlagFromWord(word);
  if (!flag) throw Misuse("--to takes enabled, disabled or incomplete, not \"" + word + "\"");
  return edit.database.ChangeFlag(SubgroupsOf(edit.arguments, edit.database, edit.Subgroups()),
                                  TestOf(edit.arguments, edit.database), *flag, edit.options);
}

Changes EditValue(Edit& edit) {
  using enum ValueChange::What;
  const auto test = TestOf(edit.arguments, edit.database);
  if (!test) throw Misuse("which test? --test NAME");
  ValueChange change;
  const bool removes = edit.arguments.Has(kRemove), adds = edit.arguments.Has(kAdd);
  if (removes && adds) throw Misuse("--add and --remove exclude each other");
  const auto of_value = edit.arguments.FirstOf(std::array{kTo, kForce});
  if (removes && !of_value.empty()) throw Misuse("--remove takes no " + of_value);
  change.what = removes ? Remove : adds ? Add : Set;
  change.tsno = edit.arguments.Get(kTsno).value_or(0);
  for (const auto& option : kOfValue) {
    if (const auto name = edit.arguments.Value(option)) change.names[option.name] = *name;
  }
  change.sbno = edit.arguments.Get(kSbno).value_or(0);
  if (!removes) change.value = edit.Value(kTo);
  change.force = edit.arguments.Has(kForce);
  return edit.database.ChangeValue(SubgroupOf(edit.arguments, edit.database, edit.Subgroups()),
                                   *test, change, edit.options);
}

Changes EditSubgroup(Edit& edit) {
  const auto& arguments = edit.arguments;
  SubgroupChange change;
  if (const auto time = arguments.Value(kTime)) change.time = StampOf(kTime, *time);
  change.force = arguments.Has(kForce);
  if (change.force && !change.time) throw Misuse("--force belongs to --time");
  change.label = arguments.Value(kNewLabel);
  // Beside "#4711" there is nothing to be found by a label.
  const bool is_new_label = !change.label && !edit.Subgroups().empty();
  if (is_new_label) change.label = arguments.Value(kLabel);
  if (arguments.Has(kSize)) change.size = edit.Value(kSize);
  for (const auto& option : kContext) {
    if (const auto name = arguments.Value(option)) change.context[option.name] = *name;
  }
  if (!change.time && !change.label && !change.size && change.context.empty()) {
    throw Misuse(
        "what changes? --time, --new-label, --size, --job, --lot, --shift, --revision, "
        "--workstation or --employee");
  }
  const auto naming = is_new_label ? arguments.Without(kLabel) : arguments;
  return edit.database.ChangeSubgroups(SubgroupsOf(naming, edit.database, edit.Subgroups()),
                                       TestOf(arguments, edit.database), change, edit.options);
}

Changes EditDelete(Edit& edit) {
  return edit.database.DeleteSubgroups(SubgroupsOf(edit.arguments, edit.database, edit.Subgroups()),
                                       TestOf(edit.arguments, edit.database), edit.options);
}

// The first word after the verb.
std::int64_t NumberOf(const Edit& edit, const char* question, const std::string& what) {
  const auto& word = edit.Word(1, question);
  std::int64_t number = 0;
  const auto* const end = word.data() + word.size();
  const auto read = std::from_chars(word.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end) {
    throw Misuse(what + " is a number, not \"" + word + "\"");
  }
  return number;
}

Changes EditRestore(Edit& edit) {
  return edit.database.Restore(NumberOf(edit, "which entry of the log?", "an entry of the log"),
                               edit.options);
}

Changes EditUndoImport(Edit& edit) {
  const auto batch =
      NumberOf(edit, "which batch? \"orvspc imports\" lists them", "a batch of an import");
  const auto report =
      edit.database.UndoImport(batch, edit.arguments.Has(kKeepChanged), edit.options);
  const auto counted = [](std::int64_t count, const char* one) {
    return render::Counted(static_cast<std::size_t>(count), one);
  };
  edit.out << "batch " << batch << ": " << counted(report.records, "record")
           << (edit.options.dry_run ? " would be undone" : " undone");
  if (report.kept != 0) edit.out << ", " << counted(report.kept, "changed one") << " kept";
  if (report.names != 0) edit.out << ", " << counted(report.names, "name") << " without use";
  edit.out << "\n";
  return {};
}

ItemKind KindOf(const Edit& edit) {
  const auto& word = edit.Word(1, "which kind of item? part, process, test, ...");
  if (const auto kind = ItemKindFromWord(word)) return *kind;
  throw Misuse("there is no kind \"" + word + "\"; \"orvspc list --help\" has them");
}

// Of a change of an item, which says nothing when it is done.
Changes SayTried(const Edit& edit) {
  const auto& words = edit.arguments.Positional();
  if (edit.options.dry_run) edit.out << words[1] << " " << words[2] << ": would be changed\n";
  return {};
}

Changes EditRename(Edit& edit) {
  edit.database.Rename(KindOf(edit), edit.Word(2, "which item?"), edit.arguments.Required(kTo),
                       edit.options);
  return SayTried(edit);
}

Changes EditMerge(Edit& edit) {
  edit.database.Merge(KindOf(edit), edit.Word(2, "which item?"), edit.arguments.Required(kTo),
                      edit.options);
  return SayTried(edit);
}

Changes EditActivate(Edit& edit) {
  edit.database.SetActive(KindOf(edit), edit.Word(2, "which item?"), true, edit.options);
  return SayTried(edit);
}

Changes EditDeactivate(Edit& edit) {
  edit.database.SetActive(KindOf(edit), edit.Word(2, "which item?"), false, edit.options);
  return SayTried(edit);
}

// Options that belong together. What is of every verb is not among them.
enum Part : unsigned {
  kOfSubgroup = 1,
  kOfOneTest = 2,
  kOfPiece = 4,
  kOfMove = 8,
  kOfTarget = 16,
  kOfUndoing = 32,
  kOfReasonable = 64,
};
const std::vector<PartOfOptions>& AllParts() {
  static const std::vector<PartOfOptions> parts = {
      {kOfTarget, {kTo}},
      {kOfSubgroup, {kOfPart, kOfProcess, kLabel, kAt, kAll}},
      {kOfOneTest, {kOfTest}},
      {kOfPiece, Together(std::vector<Option>{kTsno, kSbno, kAdd, kRemove}, kOfValue)},
      {kOfReasonable, {kForce}},
      {kOfUndoing, {kKeepChanged}},
      {kOfMove, Together(std::vector<Option>{kTime, kNewLabel, kSize}, kContext)}};
  return parts;
}

struct Verb {
  const char* name;
  unsigned parts;
  Changes (*run)(Edit&);
};
constexpr Verb kVerbs[] = {
    {"activate", 0, EditActivate},
    {"deactivate", 0, EditDeactivate},
    {"delete", kOfSubgroup | kOfOneTest, EditDelete},
    {"flag", kOfSubgroup | kOfOneTest | kOfTarget, EditFlag},
    {"merge", kOfTarget, EditMerge},
    {"rename", kOfTarget, EditRename},
    {"restore", 0, EditRestore},
    {"subgroup", kOfSubgroup | kOfOneTest | kOfMove | kOfReasonable, EditSubgroup},
    {"undo-import", kOfUndoing, EditUndoImport},
    {"value", kOfSubgroup | kOfOneTest | kOfTarget | kOfPiece | kOfReasonable, EditValue},
};

int RunEditCommand(const Arguments& arguments, Console& console) {
  std::vector<std::string> names;
  for (const auto& verb : kVerbs) names.emplace_back(verb.name);
  const auto name = VerbOf(arguments, names);
  const auto& verb =
      *std::ranges::find_if(kVerbs, [&](const Verb& each) { return name == each.name; });
  RefuseOthers(arguments, AllParts(), verb.parts, "edit " + name);
  Edit edit{arguments, QualityDatabase::Open(arguments.Required(kDatabase)),
            ChangeOptionsOf(arguments), console.out};
  std::vector<Alarm> alarms;
  for (const auto& each : verb.run(edit)) {
    alarms.insert(alarms.end(), each.alarms.begin(), each.alarms.end());
    const bool is_comment = each.comment != 0;
    if (is_comment) {
      console.out << "comment " << each.comment;
    } else {
      console.out << "#" << each.subgroup << " " << edit.database.Name(ItemKind::Test, each.test);
    }
    if (!edit.options.dry_run) {
      console.out << ": version " << each.version << "\n";
    } else {
      console.out << (is_comment ? " would be restored\n" : ": would be changed\n");
    }
  }
  // After a dry run there are none.
  if (!edit.options.dry_run) ShowAlarms(edit.database, alarms, alarms.size(), console);
  return 0;
}

}  // namespace

Command EditCommand() {
  return {"edit",
          "--db FILE VERB ... --reason TEXT [OPTIONS]",
          "Corrects what is stored: values, flags, subgroups, names",
          "edit flag SUBGROUP... --to enabled|disabled|incomplete\n"
          "edit value SUBGROUP --test NAME --tsno N --to VALUE, --add or --remove; a count by "
          "--defect CODE\n"
          "edit subgroup SUBGROUP... --time, --new-label, --size, --job, --lot, ...; --force "
          "with --time\n"
          "edit delete SUBGROUP..., edit restore ENTRY: out of the analyses and back; ENTRY is a "
          "number of the log\n"
          "edit undo-import BATCH [--keep-changed]: takes out what an import stored; \"orvspc "
          "imports\" lists them\n"
          "edit merge KIND NAME --to NAME: two items become one\n"
          "edit rename KIND NAME --to NAME, edit deactivate KIND NAME, edit activate KIND NAME\n"
          "SUBGROUP is #4711, or --part, --process, --label and --at. Each change is an entry of "
          "the log with what was there before.",
          "orvspc edit value '#17' --test Diameter --tsno 3 --to 74.031 --reason 'typed wrongly' "
          "--db q.db",
          Together(std::vector<Option>{kDatabase}, OptionsOf(AllParts()),
                   std::vector<Option>{kBy, kStation, kReason, kExpect, kDryRun}),
          RunEditCommand,
          1000,
          nullptr,
          Always};
}

}  // namespace orvspc::cli
