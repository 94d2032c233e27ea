// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/Ranking.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>
#include <string>

#include "platform/FixedText.h"

namespace orvspc::engine::pareto {
namespace {

double ValueOf(const Measure& measure, const Tally& tally, double total) {
  switch (measure.of) {
    case Measure::Of::Weights:
      return tally.weighted;
    case Measure::Of::Proportion:
      return total > 0.0 ? measure.unit * (tally.amount / total) : 0.0;
    case Measure::Of::Amount:
    case Measure::Of::Time:
      break;
  }
  return tally.amount / measure.unit;
}

// Values that differ by rounding alone are one value: sums of weights and of rates come together in
// another order each time. 40 of the 53 bits stay, which is 12 digits.
double Rounded(double value) {
  constexpr int kBits = 40;
  int exponent = 0;
  const auto fraction = std::frexp(value, &exponent);
  return std::ldexp(std::round(std::ldexp(fraction, kBits)), exponent - kBits);
}

// What overflows, or has no base, is 0 in a record.
double Finite(double value) { return std::isfinite(value) ? value : 0.0; }

struct Bin {
  const Tally* tally;
  double value, total;
};

class Ranking {
 public:
  Ranking(const ParetoPlan& plan, const KeyTable<Tally>& tallies, Lookups& lookups,
          const TotalOf& total_of)
      : plan_(plan), lookups_(lookups), total_of_(total_of) {
    bins_.reserve(tallies.Items().size());
    for (const auto& tally : tallies.Items()) {
      const auto total = total_of(tally.keys);
      bins_.push_back({&tally, ValueOf(plan.measure, tally, total), total});
      whole_ += AmountOf(tally);
    }
    if (plan.with_empty) FindTimeEnds();
  }

  RankedBins Run() {
    RankedBin start;
    Emit(0, bins_, start);
    const bool is_cut = out_.size() > plan_.most_bins;
    if (is_cut) out_.pop_back();
    return {std::move(out_), is_cut};
  }

 private:
  // One item of a level inside the items before it.
  struct Node {
    std::int32_t id;
    double value, rank, amount;
    std::size_t begin, end;  // in the span of its parent
  };

  double AmountOf(const Tally& tally) const {
    return plan_.measure.of == Measure::Of::Weights ? tally.weighted : tally.amount;
  }
  bool IsTime(std::size_t level) const { return plan_.levels[level].kind->via == Via::Time; }
  // One bin more than is shown means that the list is cut.
  bool IsFull() const { return out_.size() > plan_.most_bins; }

  // Whether an item of the level that was not counted can have a bin: the levels below must know
  // their items too.
  bool HasEmpty(std::size_t level) const {
    if (!plan_.with_empty || (bins_.empty() && IsTime(level))) return false;
    for (auto below = level + 1; below < plan_.levels.size(); ++below) {
      if (!IsTime(below) && lookups_.DomainOf(below).empty()) return false;
    }
    return true;
  }

  void FindTimeEnds() {
    first_.fill(INT32_MAX);
    last_.fill(INT32_MIN);
    for (const auto& bin : bins_) {
      for (std::size_t level = 0; level < plan_.levels.size(); ++level) {
        first_[level] = std::min(first_[level], bin.tally->keys[level]);
        last_[level] = std::max(last_[level], bin.tally->keys[level]);
      }
    }
  }

  // Puts the bins in the order of their items, items in the order of their identifiers.
  std::vector<Node> NodesOf(std::size_t level, std::span<Bin> bins) const {
    std::sort(bins.begin(), bins.end(), [level](const Bin& a, const Bin& b) {
      return a.tally->keys[level] < b.tally->keys[level];
    });
    std::vector<Node> nodes;
    for (std::size_t i = 0; i < bins.size(); ++i) {
      const auto id = bins[i].tally->keys[level];
      if (nodes.empty() || nodes.back().id != id) nodes.push_back({id, 0.0, 0.0, 0.0, i, i});
      auto& node = nodes.back();
      node.value += bins[i].value;
      node.amount += AmountOf(*bins[i].tally);
      node.end = i + 1;
    }
    return nodes;
  }

  bool ByName(std::size_t level, std::int32_t a, std::int32_t b) {
    const auto& name_a = lookups_.NameOf(level, a).folded;
    const auto& name_b = lookups_.NameOf(level, b).folded;
    return name_a != name_b ? name_a < name_b : a < b;
  }

  void Emit(std::size_t level, std::span<Bin> bins, RankedBin& bin) {
    if (level == plan_.levels.size()) {
      EmitBin(bins, bin);
      return;
    }
    auto nodes = NodesOf(level, bins);
    if (IsTime(level)) return EmitTimes(level, nodes, bins, bin);
    for (auto& node : nodes) node.rank = Rounded(node.value);
    std::sort(nodes.begin(), nodes.end(), [&](const Node& a, const Node& b) {
      return a.rank != b.rank ? a.rank > b.rank : ByName(level, a.id, b.id);
    });
    for (const auto& node : nodes) EmitNode(level, node, bins, bin);
    if (HasEmpty(level) && !IsFull()) EmitEmpty(level, nodes, bin);
  }

  void EmitNode(std::size_t level, const Node& node, std::span<Bin> bins, RankedBin& bin) {
    if (IsFull()) return;
    bin.keys[level] = node.id;
    bin.percent[level] = whole_ > 0.0 ? 100.0 * node.amount / whole_ : 0.0;
    Emit(level + 1, bins.subspan(node.begin, node.end - node.begin), bin);
  }

  void EmitEmpty(std::size_t level, const std::vector<Node>& nodes, RankedBin& bin) {
    std::vector<std::int32_t> counted, missing;
    for (const auto& node : nodes) counted.push_back(node.id);
    std::ranges::sort(counted);
    std::ranges::set_difference(lookups_.DomainOf(level), counted, std::back_inserter(missing));
    std::ranges::sort(missing, [&](auto a, auto b) { return ByName(level, a, b); });
    for (const auto id : missing) EmitNode(level, {id, 0.0, 0.0, 0.0, 0, 0}, {}, bin);
  }

  void EmitTimes(std::size_t level, const std::vector<Node>& nodes, std::span<Bin> bins,
                 RankedBin& bin) {
    if (!HasEmpty(level)) {
      for (const auto& node : nodes) EmitNode(level, node, bins, bin);
      return;
    }
    auto next = nodes.begin();
    for (std::int64_t start = first_[level]; start <= last_[level] && !IsFull();
         start = plan_.levels[level].periods.NextAfter(start)) {
      if (next != nodes.end() && next->id == start) {
        EmitNode(level, *next++, bins, bin);
      } else {
        EmitNode(level, {static_cast<std::int32_t>(start), 0.0, 0.0, 0.0, 0, 0}, {}, bin);
      }
    }
  }

  void EmitBin(std::span<const Bin> bins, RankedBin& bin) {
    auto& shown = out_.emplace_back(bin);
    if (bins.empty()) {
      shown.total = total_of_(shown.keys);
      return;
    }
    shown.tally = bins.front().tally;
    shown.value = bins.front().value;
    shown.total = bins.front().total;
  }

  const ParetoPlan& plan_;
  Lookups& lookups_;
  const TotalOf& total_of_;
  std::vector<Bin> bins_;
  double whole_ = 0.0;
  std::array<std::int32_t, kMaxLevels> first_{}, last_{};  // times that were counted
  std::vector<RankedBin> out_;
};

}  // namespace

RankedBins Rank(const ParetoPlan& plan, const KeyTable<Tally>& tallies, Lookups& lookups,
                const TotalOf& total_of) {
  return Ranking(plan, tallies, lookups, total_of).Run();
}

void WriteBin(const ParetoPlan& plan, const RankedBin& bin, Lookups& lookups, API_PABin& out) {
  out = {};
  std::string name;
  for (std::size_t i = 0; i < plan.levels.size(); ++i) {
    const auto place = plan.levels[i].place;
    out.ID[place] = bin.keys[i];
    out.Percentage[place] = Finite(bin.percent[i]);
    name += (i == 0 ? "" : " / ") + lookups.NameOf(i, bin.keys[i]).shown;
  }
  platform::StoreFixedText(out.Name, name);
  out.Value = Finite(bin.value);
  out.Total = Finite(bin.total);
  if (bin.tally == nullptr) {
    out.Flag = kBinEmpty;
    return;
  }
  out.BinCount = Finite(bin.tally->records);
  out.Factor = Finite(bin.tally->weighted);
  out.SubgroupID = bin.tally->newest_subgroup;
  if (bin.tally->has_open) out.Flag = kBinIsOpen;
}

}  // namespace orvspc::engine::pareto
