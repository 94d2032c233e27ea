// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/Limits.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>

#include "engine/catalogue/limits.h"
#include "platform/Enumerations.h"
#include "platform/FixedText.h"
#include "platform/NaN.h"

namespace orvspc::engine::capability {
namespace {

constexpr std::int32_t kSpecBits = slfUSL | slfTAR | slfLSL;
constexpr double kNoLimit = 1e300;
constexpr std::int32_t kUsualScale = 4;

// The figures of a row; flag 0: one that does not lie on the axis of the values.
struct SpecFigure {
  std::int32_t flag;
  platform::WireDouble API_CCSpecLim::*stored;
  platform::WireDouble API_CASpecLim8::*field;
};
using Stored = API_CCSpecLim;
using Record = API_CASpecLim8;
constexpr SpecFigure kSpecFigures[] = {
    {slfUSL, &Stored::F_USL, &Record::Usl}, {slfTAR, &Stored::F_TAR, &Record::Tar},
    {slfLSL, &Stored::F_LSL, &Record::Lsl}, {slfUGB, &Stored::F_UGB, &Record::Ugb},
    {slfLGB, &Stored::F_LGB, &Record::Lgb}, {slfURL, &Stored::F_URL, &Record::Url},
    {slfLRL, &Stored::F_LRL, &Record::Lrl}, {slfUWP, &Stored::F_UWP, &Record::Uwp},
    {slfLWP, &Stored::F_LWP, &Record::Lwp}, {0, &Stored::F_USG, &Record::Usg},
    {0, &Stored::F_LSG, &Record::Lsg},      {0, &Stored::F_UDS, &Record::Uds},
    {0, &Stored::F_LDS, &Record::Lds},      {0, &Stored::F_CP, &Record::Cp},
    {0, &Stored::F_CPK, &Record::Cpk},      {0, &Stored::F_RRMAR, &Record::RRmar},
    {0, &Stored::F_RRMAX, &Record::RRmax},  {0, &Stored::Double712, &Record::Fctr},
};

// The streams of one part and test share their limits.
struct Item {
  std::int32_t part, process, test;  // the process of its first stream, for its name
  std::int32_t oldest, newest;
  std::vector<std::size_t> places;  // of its streams
};

std::vector<Item> ItemsOf(std::span<const StreamSample> streams) {
  std::vector<Item> items;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    const auto& stream = streams[i];
    auto item = std::ranges::find_if(items, [&stream](const Item& each) {
      return each.part == stream.part && each.test == stream.test;
    });
    if (item == items.end()) {
      items.push_back({stream.part, stream.process, stream.test, stream.oldest, stream.newest, {}});
      item = std::prev(items.end());
    }
    item->oldest = std::min(item->oldest, stream.oldest);
    item->newest = std::max(item->newest, stream.newest);
    item->places.push_back(i);
  }
  return items;
}

API_CASpecLim8 RecordOf(const API_CCSpecLim& row) {
  API_CASpecLim8 record{};
  const std::int32_t head[] = {row.Word0,  row.Stamp4, row.Stamp8, row.F_PART, row.F_TEST_,
                               row.Word20, row.Word24, row.Word28, row.Word32, row.Word36};
  std::copy(std::begin(head), std::end(head), record.Head);
  platform::To8Bit(row.Name, record.Text);
  record.Word296 = row.Word552;
  record.Scale = row.F_SCAL;
  for (const auto& [flag, stored, field] : kSpecFigures) record.*field = row.*stored;
  record.EFlag = row.F_EFLAG;
  record.AFlag = row.F_AFLAG;
  return record;
}

void Apply(const LimitOverride& by, API_CASpecLim8& record) {
  const struct {
    std::int32_t flag;
    double value;
    platform::WireDouble& field;
  } limits[] = {
      {slfUSL, by.usl, record.Usl}, {slfTAR, by.target, record.Tar}, {slfLSL, by.lsl, record.Lsl}};
  record.EFlag &= ~kSpecBits;
  for (const auto& [flag, value, field] : limits) {
    const bool given = std::isfinite(value) && std::fabs(value) < kNoLimit;
    field = given ? value : 0.0;
    if (given) record.EFlag |= flag;
  }
  record.AFlag |= record.EFlag & kSpecBits;
}

// Clears figures that are not finite, and bits without a limit.
void DropNonFinite(API_CASpecLim8& record) {
  for (const auto& [flag, stored, field] : kSpecFigures) {
    if (std::isfinite(record.*field)) continue;
    record.EFlag &= ~flag;
    record.*field = 0.0;
  }
  record.AFlag &= record.EFlag;
}

// False when the limits were not the right way round; then neither is left.
bool Clean(API_CASpecLim8& record) {
  DropNonFinite(record);
  const bool both = (record.EFlag & slfUSL) != 0 && (record.EFlag & slfLSL) != 0;
  const bool right = !both || record.Usl > record.Lsl;
  if (!right) record.EFlag &= ~(slfUSL | slfLSL);
  record.AFlag &= record.EFlag;
  return right;
}

// Nothing where the row has neither a middle nor a target.
std::optional<double> OriginOf(const API_CASpecLim8& record, Normalization normalize) {
  const auto tolerance = ToleranceOf(record);
  statistics::Tolerance limits = tolerance;
  limits.target.reset();
  const auto middle = limits.Aim();
  switch (normalize) {
    case Normalization::None:
      break;
    case Normalization::Nominal:
      return middle ? middle : tolerance.target;
    case Normalization::Target:
      return tolerance.target ? tolerance.target : middle;
  }
  return 0.0;
}

void MoveDown(API_CASpecLim8& record, double distance) {
  for (const auto& [flag, stored, field] : kSpecFigures) {
    if ((record.EFlag & flag) != 0) record.*field = record.*field - distance;
  }
  DropNonFinite(record);
}

// The figures with these bits; NaN for one that the record lacks.
template <class Row, class Figures>
std::vector<double> FiguresOf(const Row& record, const Figures& figures, std::int32_t bits) {
  std::vector<double> values;
  for (const auto& figure : figures) {
    const bool has = (record.EFlag & bits & figure.flag) != 0;
    values.push_back(has ? double{record.*figure.field} : platform::kNaN);
  }
  return values;
}

// Compares the limits with these bits, by the width of all.
bool Agree(const API_CASpecLim8& a, const API_CASpecLim8& b, std::int32_t bits) {
  const double width = std::max(catalogue::WidthOf(FiguresOf(a, kSpecFigures, ~0)),
                                catalogue::WidthOf(FiguresOf(b, kSpecFigures, ~0)));
  return (a.EFlag & bits) == (b.EFlag & bits) &&
         catalogue::Agree(FiguresOf(a, kSpecFigures, bits), FiguresOf(b, kSpecFigures, bits),
                          width);
}

bool Agree(const API_CANccLim8& a, const API_CANccLim8& b) {
  using catalogue::kNetContentFigures;
  constexpr auto kQuantities = catalogue::kNetContentQuantities;
  constexpr double kAllPackages = 100.0;
  auto of_a = FiguresOf(a, kNetContentFigures, kQuantities),
       of_b = FiguresOf(b, kNetContentFigures, kQuantities);
  of_a.push_back(a.Lsc);
  of_b.push_back(b.Lsc);
  const double width = std::max(catalogue::WidthOf(of_a), catalogue::WidthOf(of_b));
  return a.EFlag == b.EFlag && catalogue::Agree(of_a, of_b, width) &&
         catalogue::Agree(a.Fctr, b.Fctr, std::max(a.Fctr, b.Fctr)) &&
         catalogue::Agree(FiguresOf(a, kNetContentFigures, ~kQuantities),
                          FiguresOf(b, kNetContentFigures, ~kQuantities), kAllPackages);
}

struct Candidate {
  std::int32_t newest;
  API_CASpecLim8 record{};
  double origin = 0.0;
};

Candidate CandidateOf(store::Store& store, const Item& item,
                      const std::optional<LimitOverride>& override_by, Normalization normalize) {
  Candidate candidate{item.newest};
  const auto rows = store.SpecLimits(item.part, item.test);
  const auto* const row = catalogue::EffectiveAt(rows, item.newest);
  const auto name = [&] { return store.StreamName(item.part, item.process, item.test); };
  if (row != nullptr) candidate.record = RecordOf(*row);
  if (row != nullptr && !override_by && catalogue::EffectiveAt(rows, item.oldest) != row) {
    store::AddNote(
        "limits-changed",
        "The specification limits changed in the time shown; all values are held against the "
        "newest.",
        name());
  }
  if (override_by) {
    Apply(*override_by, candidate.record);
    if (row == nullptr) candidate.record.Scale = kUsualScale;
  }
  if (!Clean(candidate.record)) {
    store::AddNote("limits-crossed",
                   "The upper specification limit does not lie above the lower one; "
                   "neither is used.",
                   name());
  }
  const auto origin = OriginOf(candidate.record, normalize);
  if (!origin) {
    store::AddNote(
        "not-normalised",
        "There is neither a target nor a middle of two limits to normalise by; the values "
        "stay as they are.",
        name());
  }
  candidate.origin = origin.value_or(0.0);
  MoveDown(candidate.record, candidate.origin);
  return candidate;
}

}  // namespace

statistics::Tolerance ToleranceOf(const API_CASpecLim8& record) {
  const auto limits = catalogue::SpecLimitsOf(record);
  return {limits.Upper(), limits.Lower(), limits.Target()};
}

LimitsInForce FindLimits(store::Store& store, std::span<const StreamSample> streams,
                         const std::optional<LimitOverride>& override_by, Normalization normalize) {
  std::vector<Candidate> candidates;
  LimitsInForce limits;
  limits.origins.resize(streams.size());
  for (const auto& item : ItemsOf(streams)) {
    const auto& made = candidates.emplace_back(CandidateOf(store, item, override_by, normalize));
    for (const auto place : item.places) limits.origins[place] = made.origin;
  }
  if (candidates.empty()) return limits;
  const auto& newest = *std::ranges::max_element(candidates, {}, &Candidate::newest);
  const auto all_agree = [&](std::int32_t bits) {
    return std::ranges::all_of(
        candidates, [&](const Candidate& each) { return Agree(each.record, newest.record, bits); });
  };
  if (all_agree(~0)) {
    limits.record = newest.record;
  } else if (override_by && all_agree(kSpecBits)) {
    // What was given for this analysis holds for all; what is stored beside it does not.
    limits.record = newest.record;
    limits.record.EFlag &= kSpecBits;
    limits.record.AFlag &= kSpecBits;
  } else {
    store::AddNote(
        "limits-differ",
        "The selected parts and tests have different specification limits; none is used.");
  }
  limits.tolerance = ToleranceOf(limits.record);
  return limits;
}

API_CANccLim8 FindNetContents(store::Store& store, std::span<const StreamSample> streams) {
  std::vector<API_CANccLim8> found;
  std::size_t common = 0;
  std::int32_t newest = INT32_MIN;
  bool missing = false;
  for (const auto& item : ItemsOf(streams)) {
    const auto rows = store.NetContents(item.part, item.test);
    const auto* const row = catalogue::EffectiveAt(rows, item.newest);
    missing = missing || row == nullptr;
    if (row == nullptr) continue;
    if (item.newest >= newest) common = found.size();
    found.push_back(*row);
    newest = std::max(newest, item.newest);
  }
  if (found.empty()) return {};
  const auto agrees = [&](const API_CANccLim8& each) { return Agree(each, found[common]); };
  if (!missing && std::ranges::all_of(found, agrees)) return found[common];
  store::AddNote("net-contents-differ",
                 "The selected parts and tests have different net contents; none is used.");
  return {};
}

}  // namespace orvspc::engine::capability
