// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/write/log/Json.h"
#include "platform/NewRecord.h"

// Records as canonical JSON: of equal content there is one text. This is the form of records in the
// log, in fingerprints and on lines of JSON.
//
//   {"part":"Ring","process":"Press
//   A","test":"Diameter","label":"17","time":"2026-03-11T06:00:00Z",
//    "pieces":[{"value":74.03},{"value":74.002,"tsno":4,"sbno":1,"serial":"S1","gage":"G","defect":"D"}],
//    "size":5,"flag":2,"context":{"job":"J","lot":"L"},
//    "descriptors":{"Colour":["red",{"name":"blue","tsno":2}],"Mould":"M1"},
//    "comments":["tool changed",{"text":"scratch","tsno":2,"employee":"Ann","time":"2026-..."}]}
//
//   keys      in this order; those of context and descriptors ascend; what has its default is left
//             out
//   numbers   the shortest that read back
//   lists     of descriptors with one element are that element; they ascend by name and piece
//   plain     a descriptor that belongs to no piece, and a comment that is only its text, is a text
namespace orvspc::engine::log {

// Everything of one subgroup and test, by names.
struct CanonicalRecord {
  std::string part, process, test, label;
  std::optional<std::int64_t> time;
  std::vector<NewPiece> pieces;
  double size = 0.0;
  std::int32_t flag = 0;
  std::map<std::string, std::string> context;  // by the columns of an import
  std::vector<NewDescriptor> descriptors;
  std::vector<NewComment> comments;
};

// A record as it is sent, without its key. Descriptors leave the context.
CanonicalRecord CanonicalOf(const NewRecord& record);
// The other way; without a key.
NewRecord NewRecordOf(const CanonicalRecord& record);

Json JsonOf(const CanonicalRecord& record);
std::string TextOf(const CanonicalRecord& record);

// Throws Refused (code "json", or "number", "count", "time", "flag") that names the key and what is
// wrong with it: an unknown key, a wrong type. Also reads:
//   pieces   numbers in place of objects with a value alone
//   flag     "enabled", "disabled", "incomplete"
//   time     as imports read times, seconds since 1970 as a whole number
CanonicalRecord RecordOf(const Json& json);

// A record as it was before an entry of the log, which keeps beside it what has no name.
struct FormerRecord {
  CanonicalRecord record;
  std::int64_t batch = 0, entry = 0;  // that brought it, and its latest one; 0: none
  // Of an entry that takes it out: in the order of its comments the numbers of those that go along;
  // 0: one that stays. Empty: there are none.
  std::vector<std::int64_t> dropped;
};
std::string TextOf(const FormerRecord& former);
// Throws Refused as RecordOf does.
FormerRecord FormerRecordOf(Json before);
// Its batch alone.
std::int64_t BatchOf(const Json& before);

// Of a record whose pieces are all numbered: leaves out the numbers that counting on gives, and the
// size of a measured one that is the number of its pieces.
void LeaveOutUsual(CanonicalRecord& record, bool is_measured);
// The other way.
void PutInUsual(CanonicalRecord& record, bool is_measured);

// SHA-256 of the canonical text without descriptors and comments, which live on their own, in
// hexadecimal digits.
std::string DigestOf(const CanonicalRecord& record);

}  // namespace orvspc::engine::log
