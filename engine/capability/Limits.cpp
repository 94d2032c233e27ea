// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/Limits.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>

#include "engine/catalogue/limits.h"
#include "platform/Enumerations.h"
#include "platform/FixedText.h"
#include "platform/NaN.h"

namespace orvspc::engine::capability {
namespace {

constexpr std::int32_t kSpecBits = slfUSL | slfTAR | slfLSL;
constexpr double kNoLimit = 1e300;
constexpr std::int32_t kUsualScale = 4;

struct Limit {
  std::int32_t flag;
  platform::WireDouble API_CASpecLim8::*field;
};
// Those that lie on the axis of the values.
constexpr Limit kLimits[] = {
    {slfURL, &API_CASpecLim8::Url}, {slfUSL, &API_CASpecLim8::Usl}, {slfUGB, &API_CASpecLim8::Ugb},
    {slfTAR, &API_CASpecLim8::Tar}, {slfLGB, &API_CASpecLim8::Lgb}, {slfLSL, &API_CASpecLim8::Lsl},
    {slfLRL, &API_CASpecLim8::Lrl}, {slfUWP, &API_CASpecLim8::Uwp}, {slfLWP, &API_CASpecLim8::Lwp},
};

// The streams of one part and test share their limits.
struct Item {
  std::int32_t part, process, test;  // the process of its first stream, for its name
  std::int32_t oldest, newest;
};

std::vector<Item> ItemsOf(std::span<const StreamSample> streams) {
  std::vector<Item> items;
  for (const auto& stream : streams) {
    const auto found = std::find_if(items.begin(), items.end(), [&](const Item& each) {
      return each.part == stream.part && each.test == stream.test;
    });
    if (found == items.end()) {
      items.push_back({stream.part, stream.process, stream.test, stream.oldest, stream.newest});
    } else {
      found->oldest = std::min(found->oldest, stream.oldest);
      found->newest = std::max(found->newest, stream.newest);
    }
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
  record.Usl = row.F_USL;
  record.Tar = row.F_TAR;
  record.Lsl = row.F_LSL;
  record.Ugb = row.F_UGB;
  record.Lgb = row.F_LGB;
  record.Url = row.F_URL;
  record.Lrl = row.F_LRL;
  record.Uwp = row.F_UWP;
  record.Lwp = row.F_LWP;
  record.Usg = row.F_USG;
  record.Lsg = row.F_LSG;
  record.Uds = row.F_UDS;
  record.Lds = row.F_LDS;
  record.Cp = row.F_CP;
  record.Cpk = row.F_CPK;
  record.RRmar = row.F_RRMAR;
  record.RRmax = row.F_RRMAX;
  record.Fctr = row.Double712;
  record.EFlag = row.F_EFLAG;
  record.AFlag = row.F_AFLAG;
  return record;
}

void Apply(const LimitOverride& by, API_CASpecLim8& record) {
  const std::pair<std::int32_t, double> values[] = {
      {slfUSL, by.usl}, {slfTAR, by.target}, {slfLSL, by.lsl}};
  record.EFlag &= ~kSpecBits;
  for (const auto& limit : kLimits) {
    for (const auto& [flag, value] : values) {
      if (flag != limit.flag) continue;
      const bool given = std::isfinite(value) && std::fabs(value) < kNoLimit;
      record.*limit.field = given ? value : 0.0;
      if (given) record.EFlag |= flag;
    }
  }
  record.AFlag |= record.EFlag & kSpecBits;
}

// Clears figures that are not finite, and bits without a limit.
void DropNonFinite(API_CASpecLim8& record) {
  for (platform::WireDouble* const field :
       {&record.Usl, &record.Tar, &record.Lsl, &record.Ugb, &record.Lgb, &record.Url, &record.Lrl,
        &record.Uwp, &record.Lwp, &record.Usg, &record.Lsg, &record.Uds, &record.Lds, &record.Cp,
        &record.Cpk, &record.RRmar, &record.RRmax, &record.Fctr}) {
    if (std::isfinite(*field)) continue;
    for (const auto& limit : kLimits) {
      if (&(record.*limit.field) == field) record.EFlag &= ~limit.flag;
    }
    *field = 0.0;
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
  for (const auto& limit : kLimits) {
    if ((record.EFlag & limit.flag) != 0) record.*limit.field = record.*limit.field - distance;
  }
  DropNonFinite(record);
}

// NaN for a limit without its flag.
std::array<double, std::size(kLimits)> FiguresOf(const API_CASpecLim8& record, std::int32_t bits) {
  std::array<double, std::size(kLimits)> figures{};
  for (std::size_t i = 0; i < figures.size(); ++i) {
    const bool set = (record.EFlag & bits & kLimits[i].flag) != 0;
    figures[i] = set ? double{record.*kLimits[i].field} : platform::kNaN;
  }
  return figures;
}

// Compares the limits with these bits, by the width of all.
bool Agree(const API_CASpecLim8& a, const API_CASpecLim8& b, std::int32_t bits) {
  const double width =
      std::max(catalogue::WidthOf(FiguresOf(a, ~0)), catalogue::WidthOf(FiguresOf(b, ~0)));
  return (a.EFlag & bits) == (b.EFlag & bits) &&
         catalogue::Agree(FiguresOf(a, bits), FiguresOf(b, bits), width);
}

using ContentField = platform::WireDouble API_CANccLim8::*;
struct ContentFigure {
  std::int32_t flag;
  ContentField field;
};
// Quantities, on the axis of the values, and the percentages of packages allowed beyond them.
constexpr ContentFigure kQuantities[] = {
    {catalogue::nclMavL, &API_CANccLim8::MavL}, {catalogue::nclMavU, &API_CANccLim8::MavU},
    {catalogue::nclT1L, &API_CANccLim8::T1L},   {catalogue::nclT1U, &API_CANccLim8::T1U},
    {catalogue::nclT2L, &API_CANccLim8::T2L},   {catalogue::nclT2U, &API_CANccLim8::T2U},
};
constexpr ContentFigure kPercentages[] = {
    {catalogue::nclMavLp, &API_CANccLim8::MavLp}, {catalogue::nclMavUp, &API_CANccLim8::MavUp},
    {catalogue::nclT1Lp, &API_CANccLim8::T1Lp},   {catalogue::nclT1Up, &API_CANccLim8::T1Up},
    {catalogue::nclT2Lp, &API_CANccLim8::T2Lp},   {catalogue::nclT2Up, &API_CANccLim8::T2Up},
};

std::vector<double> FiguresOf(const API_CANccLim8& row, std::span<const ContentFigure> figures) {
  std::vector<double> values;
  for (const auto& [flag, field] : figures) {
    values.push_back((row.EFlag & flag) != 0 ? double{row.*field} : platform::kNaN);
  }
  return values;
}

bool Agree(const API_CANccLim8& a, const API_CANccLim8& b) {
  constexpr double kAllPackages = 100.0;
  auto of_a = FiguresOf(a, kQuantities), of_b = FiguresOf(b, kQuantities);
  of_a.push_back(a.Lsc);
  of_b.push_back(b.Lsc);
  const double width = std::max(catalogue::WidthOf(of_a), catalogue::WidthOf(of_b));
  return a.EFlag == b.EFlag && catalogue::Agree(of_a, of_b, width) &&
         catalogue::Agree(a.Fctr, b.Fctr, std::max(a.Fctr, b.Fctr)) &&
         catalogue::Agree(FiguresOf(a, kPercentages), FiguresOf(b, kPercentages), kAllPackages);
}

struct Candidate {
  Item item;
  API_CASpecLim8 record{};
  double origin = 0.0;
};

Candidate CandidateOf(store::Store& store, const Item& item,
                      const std::optional<LimitOverride>& override_by, Normalization normalize) {
  Candidate candidate{item, {}, 0.0};
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
  for (const auto& item : ItemsOf(streams)) {
    candidates.push_back(CandidateOf(store, item, override_by, normalize));
  }
  LimitsInForce limits;
  for (const auto& stream : streams) {
    const auto found =
        std::find_if(candidates.begin(), candidates.end(), [&](const Candidate& each) {
          return each.item.part == stream.part && each.item.test == stream.test;
        });
    limits.origins.push_back(found->origin);
  }
  if (candidates.empty()) return limits;
  const auto& newest = *std::max_element(
      candidates.begin(), candidates.end(),
      [](const Candidate& a, const Candidate& b) { return a.item.newest < b.item.newest; });
  const auto all_agree = [&](std::int32_t bits) {
    return std::all_of(candidates.begin(), candidates.end(), [&](const Candidate& each) {
      return Agree(each.record, newest.record, bits);
    });
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
  if (!missing && std::all_of(found.begin(), found.end(), agrees)) return found[common];
  store::AddNote("net-contents-differ",
                 "The selected parts and tests have different net contents; none is used.");
  return {};
}

}  // namespace orvspc::engine::capability
