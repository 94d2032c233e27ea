// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/Embedded.h"
#include "platform/Actor.h"
#include "platform/Alarm.h"
#include "platform/Batches.h"
#include "platform/Changes.h"
#include "platform/Hook.h"
#include "platform/Import.h"
#include "platform/ItemKind.h"
#include "platform/LimitRecords.h"
#include "platform/LogEntry.h"
#include "platform/NewRecord.h"
#include "platform/ParetoRecords.h"
#include "platform/Phase.h"
#include "platform/SamplingCheck.h"
#include "platform/SelectionRecord.h"

// The data of a quality database, for hosts: what it holds, by name, and how files get into it.
//
// Times are stamps, seconds since 1970 UTC, from 1901 to 2038.
// Every failure is a platform::ExternalFailure whose description is one line: file and reason.
namespace orvspc {

namespace engine::record {
class Recorder;
}

// Effective time of a row of limits that holds from the beginning.
inline constexpr std::int32_t kSinceEver = INT32_MIN;

// --- What the database holds ---------------------------------------------------------------------

struct ListedItem {
  std::int32_t id = 0;
  std::string name;          // of a code: the code
  std::string text;          // of a code: what it means; empty where that is not given
  double factor = 1.0;       // weight of a part or a code
  std::int32_t type = 0;     // of a test: TestTypes, 0 until it has values; of a state code:
                             // ProcessStateTypes
  bool active = true;        // false: no longer in use
  std::int64_t version = 0;  // the latest entry of the log about it; 0: none
};

struct CountedItem : ListedItem {
  std::int64_t subgroups = 0;        // in which the item occurs; 0 for kinds that none names
  std::int32_t first = 0, last = 0;  // of these subgroups; 0 without any
};

// One test of one part on one process: what a chart is drawn of.
struct StreamKey {
  std::int32_t part = 0, process = 0, test = 0;
  friend bool operator==(const StreamKey&, const StreamKey&) = default;
};

struct ListedStream : StreamKey {
  std::int32_t test_type = 0;  // TestTypes
  std::int64_t subgroups = 0;
  std::int32_t first = 0, last = 0;
  std::int32_t limits = 0;       // the row of control limits that is in force now; 0: none
  std::int64_t open_alarms = 0;  // neither closed nor withdrawn
};

struct ListedGroup {
  std::int32_t id = 0;
  std::string name;
  std::vector<std::int32_t> members;  // identifiers of items
};

// "Colour=red" is the descriptor red of the group Colour.
struct ListedDescriptor {
  std::int32_t id = 0, group = 0;
  std::string name, group_name;
};

struct RuleSet {
  std::string name;
  std::vector<std::int32_t> numbers;  // of run rules, ascending
};

// An option of charts as a database has it; 0: of any part, process or test.
struct ListedChartOption : StreamKey {
  std::int32_t id = 0, graph = 0;
  std::string key, value;    // "default": an option of fewer names does not hold here
  std::int64_t version = 0;  // the latest entry of the log about it
};

// An option of the charts of a stream, and whether the database says it; otherwise the caller does.
struct ChartOption {
  std::string key, value;
  bool of_database = false;
};

// The state of a process from a time on.
struct ProcessState {
  std::int32_t process = 0, state = 0;
  std::int32_t type = 0;  // ProcessStateTypes
  std::string name;       // the code of the state
  std::int32_t since = 0;
};

// --- What people wrote beside the values ---------------------------------------------------------

// A comment as it was typed.
struct SubgroupComment {
  std::int64_t id = 0;                  // by which it is changed and removed
  std::int32_t subgroup = 0, test = 0;  // test 0: of the whole subgroup
  std::int32_t tsno = 0, time = 0, employee = 0;
  std::string note;
};

// A descriptor that a subgroup has, or a piece of it.
struct SubgroupDescriptor {
  std::int32_t subgroup = 0, group = 0, descriptor = 0;
  std::int32_t tsno = 0;  // 0: of the whole subgroup
  std::string group_name, name;
};

// An event; identifiers are 0 and times empty where there is none.
struct ListedEvent {
  std::int32_t id = 0, type = 0;  // type: EventTypes
  std::int32_t name = 0;          // of the kind EventName
  std::int32_t employee = 0, process = 0, part = 0, test = 0;
  std::int32_t acc = 0, acc_employee = 0, cac = 0, cac_employee = 0;
  std::int32_t flag = 0;  // EventFlags
  std::int32_t time = 0;
  std::optional<std::int32_t> subgroup_time, acc_time, cac_time;
  std::optional<std::int32_t> finish;  // of a downtime
};

// --- Rows of limits: fields are named like the columns of their import ---------------------------

struct SpecificationLimits {
  std::int32_t part = 0, test = 0;
  std::int32_t effective = kSinceEver;
  std::optional<double> usl, target, lsl, ugb, lgb, url, lrl, uwp, lwp, cp, cpk;
  std::string alarms;      // the limits that raise alarms, "usl lsl"; "none"
  std::int32_t scale = 4;  // decimals shown
  std::string name;
};

struct ControlLimits {
  std::int32_t part = 0, process = 0, test = 0;  // process 0: any
  std::int32_t effective = kSinceEver;
  double mean = 0.0, sp = 0.0, spl = 0.0, sw = 0.0, swl = 0.0;  // a sigma of 0: not given
  std::int32_t start = 0, finish = 0;  // of the data that they were calculated from
  std::int32_t chart_word = 0;         // of the chart that they were made from; 0: not known
  std::int32_t used = 0;               // subgroups they came from; 0: not known
  std::int32_t id = 0;
  std::optional<std::int32_t> until;  // when they no longer hold; empty: without an end
};

struct Opportunities {
  std::int32_t part = 0, test = 0;
  std::int32_t effective = kSinceEver;
  std::int32_t opportunities = 0;  // of defects, for each unit
};

struct NetContents {
  std::int32_t part = 0, test = 0;
  std::int32_t effective = kSinceEver;
  std::string class_name, quantity;  // "R87" "HB133" "own"; "mass" "volume" ...
  std::optional<double> nominal, mav;
  bool upper = false;
  // Also those that the class derived; names ending in p are percent of packages.
  std::optional<double> mavl, mavlp, mavu, mavup, t1l, t1lp, t1u, t1up, t2l, t2lp, t2u, t2up;
  double factor = 1.0;
  std::string name;
};

// --- Settings, words and times -------------------------------------------------------------------

// A setting that a database can hold.
struct SettingKind {
  std::string_view name, fallback, meaning;
  std::vector<std::string_view> words;  // that it takes; empty: any text of the form of fallback
  // Whether a stream may have a value of its own: "NAME:PART/PROCESS/TEST".
  bool of_streams = false;
  // Why it does not take a value; empty when it does.
  std::string Refusal(std::string_view value) const;
};
const std::vector<SettingKind>& SettingKinds();
// An option of charts and studies that a database can hold for streams: "chart.limits" is the
// option
// --limits of charts, "ewma.weight" --weight of that study.
struct ChartOptionKind {
  std::string_view key, meaning;
  std::vector<std::string_view> words;  // that it takes beside "default"; empty: a number
  double low = 0.0, high = 0.0;         // of a number
  bool low_is_open = false;
  bool is_whole = false;
  bool of_several = false;  // its study takes several tests together, so that it is of none alone
  // Why it does not take a value; empty when it does.
  std::string Refusal(std::string_view value) const;
  // Why it is not of that graph, 1 to 3; empty when it is. Studies look at those of graph 1.
  std::string RefusalOfGraph(std::int32_t graph) const;
  // Why it does not take a test; empty when it does.
  std::string RefusalOfTest() const;
};
const std::vector<ChartOptionKind>& ChartOptionKinds();
// Null for an unknown key.
const ChartOptionKind* FindChartOptionKind(std::string_view key);

// That of a setting, whose name may be that of a stream's own; null for an unknown name.
const SettingKind* FindSettingKind(std::string_view name);

// "values", "control-limits", ...; empty for an unknown word.
std::optional<ImportKind> ImportKindFromWord(std::string_view word);
// All kinds of files with their columns, in the order of the enumeration.
std::vector<ImportKindInfo> ImportKinds();

// "2024-02-29", "2024-02-29T12:30", "2024-02-29 12:30:00.5+02:00", ...: as imports read times.
//
// No zone      UTC.
// No time      midnight; with end_of_day the last second of the day.
// Fraction     rounded to the nearest second.
// Returns      seconds since 1970 UTC, maybe outside of the range of stamps; empty for other texts.
std::optional<std::int64_t> ParseTime(std::string_view text, bool end_of_day = false);

// Seconds since 1970 UTC, as the engine sees the clock.
std::int64_t CurrentTime();

// When the shifts of a database start, by its settings shift_starts and time_zone.
struct Shift {
  std::int64_t start = 0, end = 0;  // end is the start of the next one
};
struct ShiftPlan {
  std::vector<std::int32_t> starts;  // seconds of the day in the zone, ascending
  std::int32_t offset = 0;           // of the zone, in seconds
  Shift Around(std::int64_t stamp) const;
};

// What a copy holds.
struct CopyReport {
  std::int64_t measurements = 0, rows = 0;  // a measurement: a subgroup and test
  std::string digest;  // SHA-256 of everything with names in place of identifiers, 64 digits
};

// The subgroups of a copy, as DataSelect::API_GetData gives a selection.
struct CopySelection {
  API_DSInfo info;
  std::vector<std::int32_t> filter;
};

struct CopyOptions {
  std::optional<CopySelection> selection;      // none: everything
  std::function<void(std::int64_t)> progress;  // called with the measurements copied so far
  Actor actor = {};                            // for the log
  std::string reason = {};
};

struct BackupOptions {
  // In a folder: how many backups of this database are left there, the newest, with this one.
  // Others that Backup made and named are deleted, and nothing else.
  std::optional<int> keep = {};
  // It goes on as a database of its own: with another identity, and an entry of its log.
  bool as_copy = false;
  Actor actor = {};  // of that entry, and why
  std::string reason = {};
  std::function<void(int)> progress = {};  // called with the percent done
};

struct BackupReport {
  std::string path;
  std::int64_t bytes = 0;
  std::vector<std::string> deleted;  // paths, the oldest first
};

// Something in a database that is not as the program wrote it.
struct CheckFind {
  std::string place, reason;  // "#4711 Diameter", "the packed values do not fit their checksum"
};

struct CheckReport {
  std::int64_t subgroups = 0;
  std::vector<CheckFind> finds;  // empty: it is whole
  std::int64_t left_out = 0;     // finds beyond the first thousand
};

struct CheckOptions {
  std::function<void(std::int64_t)> progress;  // called with the measurements seen so far
};

// --- Changes of what is stored -------------------------------------------------------------------

// A record that was changed: the values of a subgroup and test.
struct ChangedRecord {
  std::int32_t subgroup = 0, test = 0;
  std::string label;
  std::int32_t time = 0;
  std::int64_t version = 0;  // now
  // In place of values a comment of them that was restored, by its number; test 0: of all of the
  // subgroup. 0: values.
  std::int64_t comment = 0;
  std::vector<Alarm> alarms = {};  // that the change raised, with the first record of their test
};

// "enabled", "disabled", "incomplete" as SubgroupFlags; empty for another word.
std::optional<std::int32_t> FlagFromWord(std::string_view word);

// Watches how files of older releases are brought forward, which their first opening does: watch is
// called on this thread with the path and the percent done, 100 at the end; with a negative number
// while another program has locked the file, then 100. Empty: nobody watches.
void WatchUpgrades(std::function<void(const std::string& path, int percent)> watch);

// Takes the notes that this thread added outside of the analyses of an open database.
//   brought-forward  of each file of an older release that it opened, open or closed by now
//   database-closed  of each call for a database that was closed
//   notes-cut        in place of the oldest of these, where there were very many
// TakeReport of any database takes them, too; each is in what comes first, and only there. Notes of
// analyses on databases that are closed are dropped.
std::vector<Note> TakeNotesLeft();

// --- Hooks ---------------------------------------------------------------------------------------

// The hooks of a file, see docs/how-to/alarms.md. Throws Refused (code "hooks"): "FILE line N:
// ...". Those with addresses need engine/Webhooks.h.
std::vector<Hook> ReadHooks(const std::string& file);

// --- Recording -----------------------------------------------------------------------------------

// A record as a line of JSON, with the keys of a canonical record (part, process, test, label,
// time, pieces, size, flag, context, descriptors, comments) and "key", which `key` is also when the
// rest cannot be read. Throws Refused.
NewRecord RecordFromJson(std::string_view line, std::string* key = nullptr);
// The answers to such a line: {"key","subgroup","version","repeated","notes",
// "alarms":[{"id","graph","text"}]}, or {"key","error":{"code","field","text"}}. An empty key is
// left out, as are notes and alarms where there are none.
std::string JsonOf(const std::string& key, const Recorded& recorded);
std::string JsonOf(const std::string& key, const Refused& refused);

// Records that are stored together. Dropped without Commit: nothing has happened.
class Batch {
 public:
  void Add(NewRecord record);
  std::size_t Size() const { return records_.size(); }
  // Stores them in one transaction with one entry of the log; then it is empty. Throws Refused for
  // the first record that is refused unless these are to be left out.
  BatchRecorded Commit();

 private:
  friend class QualityDatabase;
  std::shared_ptr<EmbeddedDatabase> database_;
  std::shared_ptr<engine::record::Recorder> recorder_;
  Actor actor_;
  BatchOptions options_;
  std::vector<NewRecord> records_;
};

// --- The database --------------------------------------------------------------------------------

// An open quality database.
//
// A copy is another handle of the same open database; the last one closes it.
// Calls of several threads take turns; analyses of the same database go on meanwhile.
class QualityDatabase {
 public:
  // Opens an existing one. One that may not be written to, or lies in a folder that may not, is
  // read; what would write is refused then. Failures: not there, not a quality database, of a newer
  // release, locked, damaged; only to be read and of an older release.
  static QualityDatabase Open(const std::string& path);

  // Makes a new one, fills it and opens it.
  //
  // fill     called with the database before anybody else can see it; must not keep it
  // Failures a file of that name is there already, or a log that another database left
  //          (NAME-wal, NAME-shm, NAME-journal); no room on the device; what fill throws
  // After a failure there is no file. After success all that fill stored has reached the device. On
  // a server the tables are made in the empty database of that address, and stay when fill fails.
  static QualityDatabase Create(const std::string& path,
                                const std::function<void(QualityDatabase&)>& fill = {});

  // Opens the database of that name, which is made if there is none, once fill has filled it.
  //
  // fill     as of Create; it is called again where somebody else made the database meanwhile
  // After a failure of fill there is no new file, and nothing of it in one that was there already
  // but what it stored itself. On a server the tables are made before, and stay.
  static QualityDatabase OpenOrCreate(const std::string& path,
                                      const std::function<void(QualityDatabase&)>& fill);

  // Imports a file into the database of that name, which is made if there is none. A refused file
  // leaves no new database, and no tables in an empty one of a server.
  static ImportReport ImportInto(const std::string& path, const std::string& file, ImportKind kind,
                                 const ImportOptions& options = {});

  // RecordSubgroup and a batch into the database of that name, which is made if there is none.
  // Where nothing is stored there is no new database, and there are no tables in an empty one of a
  // server.
  static std::vector<Recorded> RecordInto(const std::string& path,
                                          std::span<const NewRecord> records, const Actor& actor,
                                          NewNames names = NewNames::Refuse);
  static BatchRecorded RecordBatchInto(const std::string& path, std::span<const NewRecord> records,
                                       const Actor& actor, const BatchOptions& options = {});

  // Copies what the database holds into one that is made, or that is there and holds nothing yet;
  // identifiers stay. The log comes along and gets an entry that names this database and its newest
  // entry; the other one keeps its own identity. With a selection only its subgroups are copied,
  // and everything that belongs to none. Both are compared at the end.
  //
  // Failures the other holds data already, such as a rule set of its own; what makes, opens or
  //          writes it; what reads this one. The text begins with the name of the one that failed.
  // After a failure the other holds nothing, or is not there.
  CopyReport CopyTo(const std::string& path, const CopyOptions& options = {}) const;

  // Copies the file page by page while writers go on: the copy is the state of one moment.
  //
  // to       a file that is not there, or a folder, where it is named after database and time:
  //          "q-20240229T123000Z.db"
  // Failures a database on a server; the file is there already; keep without a folder or of a copy
  //          with an identity of its own; what reads or writes either
  // After a failure there is no file, unless what failed is to delete others. After success it was
  // looked through and is on the device.
  BackupReport Backup(const std::string& to, const BackupOptions& options = {}) const;

  // Looks whether a database is whole: its pages, references between rows, checksums, order and
  // numbers of what is packed, identifiers, limits and phases. Not what values say. Pages are those
  // of a file alone. Reads all of it.
  //
  // Failures as of Open
  static CheckReport Check(const std::string& path, const CheckOptions& options = {});

  // Over a database that is open already.
  explicit QualityDatabase(std::shared_ptr<EmbeddedDatabase> database);

  // For analyses, retrievals, and for TakeFailure and TakeReport after them.
  const std::shared_ptr<EmbeddedDatabase>& Database() const { return database_; }

  // Imports a CSV file: all of it is stored or nothing. The failure names file, line, column, value
  // and reason. Analyses see all of it or nothing.
  ImportReport Import(const std::string& file, ImportKind kind, const ImportOptions& options = {});

  // Stores a subgroup and test, or several tests of one subgroup, which agree in part, process,
  // label, time and key. Returns after the durable commit.
  //
  // Refused   what the data break, by its code, with nothing stored:
  //           name      is empty, long or has control characters
  //           unknown   part, process or test, unless they are to be created
  //           inactive  an item is no longer in use
  //           type      values for a test that counts, or the reverse
  //           number, count, size, flag, comment, context
  //           unreasonable  beyond the reasonable limits in force, unless forced
  //           size      other than the setting subgroup_size, unless flagged incomplete
  //           time      more than 300 s ahead of the clock, or no stamp
  //           stored    the subgroup has values of this test
  //           key       was used for other values
  // Threads   calls of several threads share commits
  // The same key with the same content stores nothing and gives the first answer.
  Recorded Record(const NewRecord& record, const Actor& actor, NewNames names = NewNames::Refuse);
  std::vector<Recorded> RecordSubgroup(std::span<const NewRecord> records, const Actor& actor,
                                       NewNames names = NewNames::Refuse);
  Batch Begin(const Actor& actor, const BatchOptions& options = {});

  // Identifier and name, or a former name. Require throws Refused (code "unknown") with the nearest
  // names.
  std::int32_t Require(ItemKind kind, std::string_view name) const;
  std::optional<std::int32_t> Find(ItemKind kind, std::string_view name) const;
  // Empty for an unknown identifier.
  std::string Name(ItemKind kind, std::int32_t id) const;
  // Items by identifier: of codes and parts also text, factor and type.
  std::vector<ListedItem> Items(ItemKind kind) const;
  // Items by name with the subgroups in which they occur. Reads the whole database.
  std::vector<CountedItem> CountedItems(ItemKind kind) const;
  // Streams by part, process, test with their subgroups. Reads the whole index of values.
  std::vector<ListedStream> Streams() const;

  // Groups of items, by name.
  std::vector<ListedGroup> Groups(ItemKind kind) const;
  std::optional<std::int32_t> FindGroup(ItemKind kind, std::string_view name) const;

  // Descriptors of subgroups, by group and name.
  std::vector<ListedDescriptor> Descriptors() const;
  std::optional<std::int32_t> FindDescriptorGroup(std::string_view name) const;
  std::optional<std::int32_t> FindDescriptor(std::int32_t group, std::string_view name) const;

  // What the import file called a subgroup; empty for an unknown identifier.
  std::string SubgroupLabel(std::int32_t subgroup) const;

  // The same of those with these identifiers, which ascend. Unknown ones are left out.
  std::vector<std::pair<std::int32_t, std::string>> SubgroupLabels(
      std::span<const std::int32_t> subgroups) const;
  // Comments of these subgroups, whose identifiers ascend: by subgroup, time and age.
  std::vector<SubgroupComment> Comments(std::span<const std::int32_t> subgroups) const;
  // Descriptors of these subgroups, whose identifiers ascend: by subgroup.
  std::vector<SubgroupDescriptor> DescriptorsOf(std::span<const std::int32_t> subgroups) const;
  // Versions of the records of a stream from a time up to and with another, by subgroup, whose
  // identifiers ascend; and of comments. They are what ChangeOptions expects; 0: the log has no
  // entry about it.
  std::vector<std::pair<std::int32_t, std::int64_t>> RecordVersions(const StreamKey& stream,
                                                                    std::int64_t from,
                                                                    std::int64_t to) const;
  std::vector<std::int64_t> CommentVersions(std::span<const std::int64_t> comments) const;
  // Subgroups of a stream from a time up to and with another whose values, flag or context were
  // changed since they were stored: identifiers, which ascend.
  std::vector<std::int32_t> EditedSubgroups(const StreamKey& stream, std::int64_t from,
                                            std::int64_t to) const;
  // Subgroups that control limits of a stream were made without, those that hold or held, with the
  // newest reason: by identifier.
  std::vector<LimitExclusion> LeftOutOfLimits(const StreamKey& stream) const;
  // Events that name the time of a subgroup from one up to and with another, by their own time.
  std::vector<ListedEvent> EventsOfSubgroups(std::int64_t from, std::int64_t to) const;

  // Events by identifier, in that order, without those that are not there.
  std::vector<ListedEvent> Events(std::span<const std::int32_t> events) const;
  // Downtimes of a process, or of any, that reach into the time from one up to and with another, by
  // their start. One without an end counts where it begins.
  std::vector<ListedEvent> Downtimes(std::int32_t process, std::int64_t from,
                                     std::int64_t to) const;

  // Names of the bins of a Pareto analysis: called with level (0 to 2) and identifier.
  //
  // resource  one of paResourceTypes
  // options   those that the bins were made with
  // Threads   one at a time for a function and its copies: they share what was looked up
  // Returns   the identifier in digits where the database knows no name; empty for a level that the
  //           options lack
  using BinNames = std::function<std::string(std::size_t level, std::int32_t id)>;
  BinNames BinNamesOf(std::int32_t resource, const API_PAOptions& options) const;

  // Limits of a part and test, and with ControlLimits of a process; Row is SpecificationLimits,
  // ControlLimits, Opportunities or NetContents.
  //
  // Versions  by effective time; of rows with one time the newest, which replaced the others. Of
  //           control limits those for any process, too, before those for the process itself, and
  //           also those that were retired, which hold for their own time.
  // InForce   the last version that is effective at a time; empty: none.
  template <class Row>
  std::vector<Row> Versions(const StreamKey& stream) const;
  template <class Row>
  std::optional<Row> InForce(const StreamKey& stream, std::int64_t time) const;

  // The life of control limits. What changes a row needs a reason, adds an entry to the log, and is
  // refused (Refused, Conflict) with nothing changed.
  //
  // ComputeLimits   out of the chart of a window; stores nothing
  // ProposeLimits   the same, stored as a proposed row, which holds nowhere. Returns its number
  // ApproveLimits   it holds from a time on; rows that held end there
  // RejectLimits    it never holds
  // RetireLimits    it holds up to and without a time; charts of before stay as they are
  // VoidLimits      it was wrong and holds nowhere; what it replaced holds again
  // FreezeLimits    computes, proposes and approves at once. Returns the number of the row
  LimitProposal ComputeLimits(const LimitRequest& request) const;
  std::int32_t ProposeLimits(const LimitRequest& request, const ChangeOptions& options);
  void ApproveLimits(std::int32_t id, const LimitApproval& approval, const ChangeOptions& options);
  void RejectLimits(std::int32_t id, const ChangeOptions& options);
  void RetireLimits(std::int32_t id, std::int32_t at, const ChangeOptions& options);
  void VoidLimits(std::int32_t id, const ChangeOptions& options);
  std::int32_t FreezeLimits(const LimitRequest& request, const LimitApproval& approval,
                            const ChangeOptions& options);

  // Rows of control limits in every state, by part, test, process and time; of one part, process or
  // test where the key has one.
  std::vector<ListedLimit> ListLimits(const StreamKey& of = {}) const;
  LimitDetails ShowLimits(std::int32_t id) const;
  // Quick where nothing of the stream was changed since.
  ChangedValues ChangedSinceLimits(std::int32_t id) const;
  // Two rows, or a row and the limits computed of a window.
  LimitComparison CompareLimits(std::int32_t first, std::int32_t second) const;
  LimitComparison CompareLimits(std::int32_t first, const LimitRequest& window) const;

  // When limits are proposed anew; 0 in the key: any. Returns the number of the policy.
  std::vector<BaselinePolicy> BaselinePolicies() const;
  std::int32_t SetBaselinePolicy(const StreamKey& of, std::string_view preset,
                                 const ChangeOptions& options);
  // Proposes limits where the policy of a stream says so; nothing is approved. The reason may be
  // left to it.
  std::vector<LimitReview> ReviewLimits(const StreamKey& of, const ChangeOptions& options);

  // The state of a process just before a time; empty: no record before it. One indexed read.
  std::optional<ProcessState> StateBefore(std::int32_t process, std::int64_t time) const;

  // Its records from a time up to and with another, by time.
  std::vector<ProcessState> StatesBetween(std::int32_t process, std::int64_t from,
                                          std::int64_t to) const;

  // Rule sets of the database.
  std::vector<RuleSet> RuleSets() const;
  // Lets analyses of this open database take the alarms of graph 1 from a rule set instead of the
  // stored alarms (graphs 2 and 3: rule 1 alone). An empty name goes back to the stored alarms.
  // Pre-control rules stay on beside every other set.
  void UseRuleSet(std::string_view name);

  // Options of graph 1 of every chart that this open database gives, in place of those that are
  // stored: key and value. Alarms and computed limits have none of them.
  //   chart.limits  sigma, or probability: charts of counts have limits by the distribution itself
  //   chart.alpha   risk of false signals of those, 0.0001 to 0.1
  //   chart.sigma   usual, or ar1: charts of single values have limits widened for correlated
  //   points
  //   chart.steps   no, or yes: notes say where the mean of charts of means and of single values
  //   may have changed
  void UseChartOptions(std::map<std::string, std::string, std::less<>> options);
  // Those that hold for graph 1 of a stream, without defaults.
  std::vector<ChartOption> ChartOptionsOf(const StreamKey& stream) const;
  // The newest of each part, process, test, graph and key, by age.
  std::vector<ListedChartOption> ChartOptions() const;
  // Stores one; returns its number. What an option does not take, or an unknown key, is refused.
  // Alarms and computed limits know no options.
  std::int32_t ChangeChartOption(const StreamKey& of, std::int32_t graph, const std::string& key,
                                 const std::string& value, const ChangeOptions& options);

  // Phases of streams, by start. In no stream do two of them overlap.
  std::vector<Phase> Phases() const;
  // Adds a phase and returns it as it is stored: with identifier, reason, who and when.
  //
  // part, process, test  identifiers; 0: any
  // Refusals             no name or reason, an end that is not after the start, limits frozen after
  //                      1 point, another phase that overlaps in a stream
  Phase AddPhase(const Phase& phase, const ChangeOptions& options);
  Phase AddPhase(const Phase& phase, const Actor& actor, const std::string& reason) {
    return AddPhase(phase, {actor, reason});
  }
  // Gives a phase another end, after its start.
  void EndPhase(std::int32_t id, std::int32_t finish, const ChangeOptions& options);
  void EndPhase(std::int32_t id, std::int32_t finish, const Actor& actor,
                const std::string& reason) {
    EndPhase(id, finish, {actor, reason});
  }
  void RemovePhase(std::int32_t id, const ChangeOptions& options);
  void RemovePhase(std::int32_t id, const Actor& actor, const std::string& reason) {
    RemovePhase(id, {actor, reason});
  }
  // The latest entry of the log about a phase, which ChangeOptions expects; 0: none.
  std::int64_t PhaseVersion(std::int32_t id) const;
  // Lets analyses of this open database take all phases but excluded ones together, as if there
  // were none; with false each by itself again.
  void JoinPhases(bool join);

  // --- Changes. Each is one transaction with its entries in the log and its events. They throw
  // Refused for what cannot be stored and Conflict where somebody else was quicker; nothing has
  // changed then.

  // Subgroups by what people know them by; empty and none: any. By identifier. Deleted ones, which
  // have no values, are left out.
  std::vector<std::int32_t> FindSubgroups(std::string_view part, std::string_view process,
                                          std::string_view label,
                                          std::optional<std::int32_t> time) const;
  // Of one test, or of all that the subgroup has values of.
  std::vector<ChangedRecord> ChangeFlag(const std::vector<std::int32_t>& subgroups,
                                        std::optional<std::int32_t> test, std::int32_t flag,
                                        const ChangeOptions& options);
  std::vector<ChangedRecord> ChangeValue(std::int32_t subgroup, std::int32_t test,
                                         const ValueChange& change, const ChangeOptions& options);
  std::vector<ChangedRecord> ChangeSubgroups(const std::vector<std::int32_t>& subgroups,
                                             std::optional<std::int32_t> test,
                                             const SubgroupChange& change,
                                             const ChangeOptions& options);
  // Takes values out of what analyses read. Comments that people added stay.
  std::vector<ChangedRecord> DeleteSubgroups(const std::vector<std::int32_t>& subgroups,
                                             std::optional<std::int32_t> test,
                                             const ChangeOptions& options);
  // Brings back what an entry of the log changed or took out, as it was before it.
  std::vector<ChangedRecord> Restore(std::int64_t entry, const ChangeOptions& options);

  // Imports and batches of records, the newest first.
  std::vector<ListedImport> Imports() const;
  // Takes out what an import of values, or a batch of records, added; the log keeps it. Names that
  // nothing uses any more become inactive. Refused where records of it were changed since, unless
  // these are to be kept as they are.
  UndoReport UndoImport(std::int64_t batch, bool keep_changed, const ChangeOptions& options);

  // Comments of a subgroup, of a test of it, or of a piece of that; returns the comment's number.
  std::int64_t AddComment(std::int32_t subgroup, std::int32_t test, std::int32_t tsno,
                          std::string_view text, const ChangeOptions& options);
  void ChangeComment(std::int64_t comment, std::string_view text, const ChangeOptions& options);
  void RemoveComment(std::int64_t comment, const ChangeOptions& options);

  // An item keeps its identifier; its former name is understood wherever names are read.
  void Rename(ItemKind kind, std::string_view name, std::string_view to,
              const ChangeOptions& options);
  // Two items become one: streams are joined, and what names `from` names `into`, by which its name
  // is understood from now on. Parts, processes, tests, and the kinds of who and where. Refused
  // with a list where both have a subgroup of the same label and time (of tests: values in one
  // subgroup) or limits of one time, and where tests differ in type.
  void Merge(ItemKind kind, std::string_view from, std::string_view into,
             const ChangeOptions& options);
  // What is not active is offered and recorded no more.
  void SetActive(ItemKind kind, std::string_view name, bool is_active,
                 const ChangeOptions& options);

  // Signals of streams that values raised when they were stored, by identifier.
  std::vector<Alarm> Alarms(const AlarmFilter& filter = {}) const;
  // An alarm is open, acknowledged, closed; or withdrawn, when what raised it was corrected. They
  // return it as it is then.
  //
  // Refused  unknown   there is no such alarm, or code
  //          state     it is in a state that the step does not lead out of
  //          missing   a code that the setting alarm_needs asks for
  //          inactive  the code is no longer in use
  Alarm AcknowledgeAlarm(std::int32_t event, const ChangeOptions& options);
  Alarm CloseAlarm(std::int32_t event, const AlarmClosing& closing, const ChangeOptions& options);
  Alarm ReopenAlarm(std::int32_t event, const ChangeOptions& options);

  // Finds the windows of sampling requirements that are over and have fewer samples than were asked
  // for: each gets one event, which is withdrawn when the window is filled later. Needs no reason.
  SamplingCheck CheckSamples(const ChangeOptions& options = {});

  // Tells hooks what became of alarms, each message at least once, and says of each hook what
  // became of its messages. One that fails is tried again after 10 s, 1, 5 and 30 min, then hourly
  // for three days, by later calls; then it is dead. Nothing that a hook does is thrown. Any number
  // of programs may do this at a time.
  std::vector<HookReport> Deliver(const std::vector<Hook>& hooks,
                                  const DeliveryOptions& options = {});

  // The settings that there are: those of SettingKinds, and those of streams that were stored.
  std::vector<std::string> SettingNames() const;
  // The stored value of a setting, else its fallback; the latest entry of the log about it, 0:
  // none.
  std::string Setting(std::string_view name) const;
  std::int64_t SettingVersion(std::string_view name) const;
  // An unknown name, a stream that cannot be, or a value that its reader could not use, is refused.
  void Set(std::string_view asked, std::string_view value, const Actor& actor = {},
           const std::string& reason = {});
  void ChangeSetting(std::string_view asked, std::string_view value, const ChangeOptions& options);

  ShiftPlan Shifts() const;

  // Who changed what, when and why.
  //
  // Log         entries that fit, the oldest first
  // LogHead     the newest entry; kept elsewhere, it proves later what came before it
  // AnchorLog   appends it to a file: "UUID SEQ HASH TIME"
  // VerifyLog   reads the whole log and works its hashes out again; with_data also the digests of
  //             imports and records from what is stored; with anchors compares the log with them
  std::vector<LogEntry> Log(const LogFilter& filter = {}) const;
  LogAnchor LogHead() const;
  LogAnchor AnchorLog(const std::string& file) const;
  LogCheck VerifyLog(const LogCheckOptions& options = {}) const;

 private:
  static void RecordWith(const std::string& path,
                         const std::function<void(engine::record::Recorder&)>& work);

  std::shared_ptr<EmbeddedDatabase> database_;
  std::shared_ptr<engine::record::Recorder> recorder_;
};

}  // namespace orvspc
