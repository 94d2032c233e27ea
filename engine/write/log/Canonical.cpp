// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/Canonical.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <span>
#include <string_view>

#include "platform/Actor.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"
#include "system/Sha256.h"

namespace orvspc::engine::log {
namespace {

constexpr std::string_view kDescriptor = "descriptor:";
// Beside a record, in what an entry says of the time before it.
constexpr const char *kBatch = "batch", *kEntry = "changed", *kDropped = "dropped";

std::string TimeText(std::int64_t time) { return platform::IsoText(time) + "Z"; }

// Writes an object: what has its default is left out.
class ObjectText {
 public:
  explicit ObjectText(std::string& out) : out_(out) { out_ += '{'; }
  void End() { out_ += '}'; }

  // For a value that is written next.
  void Key(std::string_view key) {
    if (out_.back() != '{') out_ += ',';
    AppendText(out_, key);
    out_ += ':';
  }
  void Put(std::string_view key, std::string_view text) {
    if (text.empty()) return;
    Key(key);
    AppendText(out_, text);
  }
  void Put(std::string_view key, double number) {
    if (number != 0.0) PutAlways(key, number);
  }
  void PutAlways(std::string_view key, double number) {
    Key(key);
    AppendNumber(out_, number);
  }
  void Put(std::string_view key, const std::optional<std::int64_t>& time) {
    if (time) Put(key, TimeText(*time));
  }
  template <class Elements>
  void PutList(std::string_view key, const Elements& elements) {
    if (elements.empty()) return;
    Key(key);
    Append(out_, elements);
  }

  template <class Elements>
  static void Append(std::string& out, const Elements& elements) {
    out += '[';
    for (const auto& each : elements) {
      if (out.back() != '[') out += ',';
      AppendElement(out, each);
    }
    out += ']';
  }
  static void AppendElement(std::string& out, const NewPiece& piece);
  static void AppendElement(std::string& out, const NewDescriptor& descriptor);
  static void AppendElement(std::string& out, const NewComment& comment);

 private:
  std::string& out_;
};

void ObjectText::AppendElement(std::string& out, const NewPiece& piece) {
  ObjectText object(out);
  object.PutAlways("value", piece.value);
  object.Put("tsno", piece.tsno);
  object.Put("sbno", piece.sbno);
  object.Put("serial", piece.serial);
  object.Put("gage", piece.gage);
  object.Put("defect", piece.defect);
  object.End();
}

void ObjectText::AppendElement(std::string& out, const NewDescriptor& descriptor) {
  if (descriptor.tsno == 0) return AppendText(out, descriptor.name);
  ObjectText object(out);
  object.Key("name");
  AppendText(out, descriptor.name);
  object.PutAlways("tsno", descriptor.tsno);
  object.End();
}

void ObjectText::AppendElement(std::string& out, const NewComment& comment) {
  if (comment == NewComment{comment.text, 0, {}, {}}) {
    return AppendText(out, comment.text);
  }
  ObjectText object(out);
  object.Key("text");
  AppendText(out, comment.text);
  object.Put("tsno", comment.tsno);
  object.Put("employee", comment.employee);
  object.Put("time", comment.time);
  object.End();
}

// What is of the record alone, of an object that is still open.
void PutValues(std::string& out, ObjectText& object, const CanonicalRecord& record) {
  object.Put("part", record.part);
  object.Put("process", record.process);
  object.Put("test", record.test);
  object.Put("label", record.label);
  object.Put("time", record.time);
  object.PutList("pieces", record.pieces);
  object.Put("size", record.size);
  object.Put("flag", record.flag);
  const auto has_name = [](const auto& each) { return !each.second.empty(); };
  if (std::ranges::none_of(record.context, has_name)) return;
  object.Key("context");
  ObjectText context(out);
  for (const auto& [column, name] : record.context) context.Put(column, name);
  context.End();
}

void PutDescriptors(std::string& out, ObjectText& object, const CanonicalRecord& record) {
  if (record.descriptors.empty()) return;
  auto all = record.descriptors;
  std::ranges::sort(all);
  object.Key("descriptors");
  ObjectText groups(out);
  for (auto begin = all.begin(); begin != all.end();) {
    const auto end = std::find_if(begin, all.end(),
                                  [&](const auto& each) { return each.group != begin->group; });
    groups.Key(begin->group);
    if (end - begin == 1) {
      ObjectText::AppendElement(out, *begin);
    } else {
      ObjectText::Append(out, std::span(begin, end));
    }
    begin = end;
  }
  groups.End();
}

[[noreturn]] void RefuseKey(const std::string& key, const Json& json, const std::string& reason,
                            const std::string& code = "json") {
  throw Refused(code, key, CanonicalText(json), key + ": " + reason);
}

std::string TextOf(const Json& json, const std::string& key) {
  if (!json.is_string()) RefuseKey(key, json, CanonicalText(json) + " is no text");
  return json.get<std::string>();
}

double NumberOf(const Json& json, const std::string& key) {
  if (json.is_number()) return json.get<double>();
  const auto text = json.is_string() ? json.get<std::string>() : CanonicalText(json);
  const bool has_comma = text.find(',') != std::string::npos && text.find('[') == std::string::npos;
  RefuseKey(key, json,
            (text.empty() ? std::string("null") : text) + " is no number" +
                (has_comma ? "; the decimal sign is a point" : ""),
            "number");
}

std::int32_t WholeOf(const Json& json, const std::string& key) {
  const auto number = NumberOf(json, key);
  if (!(number >= 0 && number <= INT32_MAX) || number != std::floor(number)) {
    RefuseKey(key, json, "must be a whole number between 0 and 2147483647", "number");
  }
  return static_cast<std::int32_t>(number);
}

std::int64_t TimeOf(const Json& json, const std::string& key) {
  if (json.is_number_integer()) return json.get<std::int64_t>();
  const auto time = platform::ParseIsoTime(TextOf(json, key));
  if (!time) RefuseKey(key, json, std::string(platform::kNoTime), "time");
  return *time;
}

std::int32_t FlagOf(const Json& json, const std::string& key) {
  constexpr std::string_view kWords[] = {"enabled", "disabled", "incomplete"};
  if (json.is_string()) {
    const auto found = std::ranges::find(kWords, json.get<std::string>());
    if (found != std::end(kWords)) return static_cast<std::int32_t>(found - kWords);
  } else if (json.is_number_integer()) {
    const auto flag = json.get<std::int64_t>();
    if (flag >= sfEnabled && flag <= sfIncomplete) return static_cast<std::int32_t>(flag);
  }
  RefuseKey(key, json, "must be enabled, disabled or incomplete", "flag");
}

using Reader = std::function<void(const Json&, const std::string& key)>;

Reader Into(std::string& text) {
  return [&](const Json& json, const std::string& key) { text = TextOf(json, key); };
}
Reader Into(double& number) {
  return [&](const Json& json, const std::string& key) { number = NumberOf(json, key); };
}
Reader Into(std::int32_t& number) {
  return [&](const Json& json, const std::string& key) { number = WholeOf(json, key); };
}
Reader Into(std::optional<std::int64_t>& time) {
  return [&](const Json& json, const std::string& key) { time = TimeOf(json, key); };
}

struct Key {
  std::string_view name;
  Reader read;
};

// An object none of whose keys is another than these. `of` is the key that it belongs to.
void ReadObject(const Json& json, const std::string& of, std::initializer_list<Key> keys) {
  if (!json.is_object()) RefuseKey(of, json, "must be an object");
  for (const auto& item : json.items()) {
    const auto found = std::ranges::find(keys, item.key(), &Key::name);
    if (found == keys.end()) RefuseKey(item.key(), item.value(), "there is no such key");
    found->read(item.value(), item.key());
  }
}

// Calls read for each element of a list.
Reader EachOf(std::function<void(const Json&, const std::string&)> read) {
  return [read = std::move(read)](const Json& json, const std::string& key) {
    if (!json.is_array()) RefuseKey(key, json, "must be a list");
    for (const auto& each : json) read(each, key);
  };
}

NewPiece PieceOf(const Json& json, const std::string& of) {
  NewPiece piece;
  bool has_value = !json.is_object();
  if (has_value) {
    piece.value = NumberOf(json, "value");
  } else {
    has_value = json.contains("value");
    ReadObject(json, of,
               {{"value", Into(piece.value)},
                {"tsno", Into(piece.tsno)},
                {"sbno", Into(piece.sbno)},
                {"serial", Into(piece.serial)},
                {"gage", Into(piece.gage)},
                {"defect", Into(piece.defect)}});
  }
  if (!has_value) RefuseKey(of, json, "a piece needs a value");
  return piece;
}

NewComment CommentOf(const Json& json, const std::string& of) {
  if (json.is_string()) return {json.get<std::string>(), 0, {}, {}};
  NewComment comment;
  ReadObject(json, of,
             {{"text", Into(comment.text)},
              {"tsno", Into(comment.tsno)},
              {"employee", Into(comment.employee)},
              {"time", Into(comment.time)}});
  return comment;
}

void TakeDescriptors(const Json& json, const std::string& key, std::vector<NewDescriptor>& out) {
  if (!json.is_object()) RefuseKey(key, json, "must be an object");
  for (const auto& group : json.items()) {
    const auto take = [&](const Json& each, const std::string& of) {
      NewDescriptor descriptor{group.key(), {}, 0};
      if (each.is_string()) {
        descriptor.name = each.get<std::string>();
      } else {
        ReadObject(each, of, {{"name", Into(descriptor.name)}, {"tsno", Into(descriptor.tsno)}});
      }
      out.push_back(std::move(descriptor));
    };
    if (group.value().is_array()) {
      EachOf(take)(group.value(), group.key());
    } else {
      take(group.value(), group.key());
    }
  }
}

// 0 where there is none.
std::int64_t WholeAt(const Json& json, const char* key) {
  const auto found = json.find(key);
  return found != json.end() && found->is_number_integer() ? found->get<std::int64_t>() : 0;
}

}  // namespace

CanonicalRecord CanonicalOf(const NewRecord& record) {
  CanonicalRecord all;
  all.part = record.part;
  all.process = record.process;
  all.test = record.test;
  all.label = record.label;
  if (record.time != 0) all.time = record.time;
  all.pieces = record.pieces;
  all.size = record.size;
  all.flag = record.flag;
  for (const auto& [column, name] : record.context) {
    if (column.starts_with(kDescriptor)) {
      all.descriptors.push_back({column.substr(kDescriptor.size()), name, 0});
    } else {
      all.context[column] = name;
    }
  }
  all.descriptors.insert(all.descriptors.end(), record.descriptors.begin(),
                         record.descriptors.end());
  for (const auto& comment : record.comments) all.comments.push_back({comment, 0, {}, {}});
  all.comments.insert(all.comments.end(), record.other_comments.begin(),
                      record.other_comments.end());
  return all;
}

NewRecord NewRecordOf(const CanonicalRecord& record) {
  NewRecord sent;
  sent.part = record.part;
  sent.process = record.process;
  sent.test = record.test;
  sent.label = record.label;
  sent.time = record.time.value_or(0);
  sent.pieces = record.pieces;
  sent.size = record.size;
  sent.flag = record.flag;
  sent.context = record.context;
  for (const auto& each : record.descriptors) {
    const auto column = std::string(kDescriptor) + each.group;
    if (each.tsno != 0 || !sent.context.try_emplace(column, each.name).second) {
      sent.descriptors.push_back(each);
    }
  }
  for (const auto& each : record.comments) {
    if (each == NewComment{each.text, 0, {}, {}}) {
      sent.comments.push_back(each.text);
    } else {
      sent.other_comments.push_back(each);
    }
  }
  return sent;
}

Json JsonOf(const CanonicalRecord& record) { return ReadJson(TextOf(record)); }

std::string TextOf(const CanonicalRecord& record) {
  std::string text;
  ObjectText object(text);
  PutValues(text, object, record);
  PutDescriptors(text, object, record);
  object.PutList("comments", record.comments);
  object.End();
  return text;
}

CanonicalRecord RecordOf(const Json& json) {
  CanonicalRecord record;
  const auto take_context = [&](const Json& context, const std::string& key) {
    if (!context.is_object()) RefuseKey(key, context, "must be an object");
    for (const auto& each : context.items()) {
      record.context[each.key()] = TextOf(each.value(), each.key());
    }
  };
  const auto take_descriptors = [&](const Json& descriptors, const std::string& key) {
    TakeDescriptors(descriptors, key, record.descriptors);
  };
  const auto take_piece = [&](const Json& each, const std::string& key) {
    record.pieces.push_back(PieceOf(each, key));
  };
  const auto take_comment = [&](const Json& each, const std::string& key) {
    record.comments.push_back(CommentOf(each, key));
  };
  const auto take_flag = [&](const Json& flag, const std::string& key) {
    record.flag = FlagOf(flag, key);
  };
  ReadObject(json, "record",
             {{"part", Into(record.part)},
              {"process", Into(record.process)},
              {"test", Into(record.test)},
              {"label", Into(record.label)},
              {"time", Into(record.time)},
              {"pieces", EachOf(take_piece)},
              {"size", Into(record.size)},
              {"flag", take_flag},
              {"context", take_context},
              {"descriptors", take_descriptors},
              {"comments", EachOf(take_comment)}});
  return record;
}

std::string TextOf(const FormerRecord& former) {
  auto json = JsonOf(former.record);
  if (former.batch != 0) json[kBatch] = former.batch;
  if (former.entry != 0) json[kEntry] = former.entry;
  if (!former.dropped.empty()) json[kDropped] = former.dropped;
  return CanonicalText(json);
}

FormerRecord FormerRecordOf(Json before) {
  FormerRecord former;
  if (before.is_object()) {
    former.batch = BatchOf(before);
    former.entry = WholeAt(before, kEntry);
    for (const auto& each : before.value(kDropped, Json::array())) {
      former.dropped.push_back(each.is_number_integer() ? each.get<std::int64_t>() : 0);
    }
    for (const auto* const key : {kBatch, kEntry, kDropped}) before.erase(key);
  }
  former.record = RecordOf(before);
  return former;
}

std::int64_t BatchOf(const Json& before) { return WholeAt(before, kBatch); }

void LeaveOutUsual(CanonicalRecord& record, bool is_measured) {
  if (!is_measured) return;  // there 0 is no unit
  std::int32_t highest = 0;
  std::size_t pieces = 0;
  for (auto& piece : record.pieces) {
    if (piece.sbno == 0) ++pieces;
    const bool is_next = piece.sbno == 0 && piece.tsno == highest + 1;
    highest = std::max(highest, piece.tsno);
    if (is_next) piece.tsno = 0;
  }
  if (record.size == static_cast<double>(pieces)) record.size = 0.0;
}

void PutInUsual(CanonicalRecord& record, bool is_measured) {
  if (!is_measured) return;
  std::int32_t highest = 0;
  std::size_t pieces = 0;
  for (auto& piece : record.pieces) {
    if (piece.sbno == 0) ++pieces;
    if (piece.tsno == 0) piece.tsno = highest + 1;
    highest = std::max(highest, piece.tsno);
  }
  if (record.size == 0.0) record.size = static_cast<double>(pieces);
}

std::string DigestOf(const CanonicalRecord& record) {
  std::string text;
  ObjectText object(text);
  PutValues(text, object, record);
  object.End();
  thread_local system::Sha256 sha;
  sha.Add(text);
  return system::HexOf(sha.Finish());
}

}  // namespace orvspc::engine::log
