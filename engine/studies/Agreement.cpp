// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Agreement.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <span>
#include <stdexcept>
#include <tuple>

#include "engine/statistics/Distributions.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {
namespace {

namespace statistics = engine::statistics;
using platform::kNaN;

constexpr std::size_t kMissing = static_cast<std::size_t>(-1);

std::size_t IndexOf(std::vector<std::string>& names, std::string_view name) {
  const auto found = std::ranges::find(names, name);
  const auto index = static_cast<std::size_t>(found - names.begin());
  if (found == names.end()) names.emplace_back(name);
  return index;
}

// The decisions of one rater, an appraiser in one trial, on every item.
using Rater = std::vector<std::size_t>;

// Of each decision. Trials that are known are taken first; each of the others is the first that its
// item and appraiser do not have.
std::vector<std::size_t> TrialsOf(const Decisions& decisions) {
  std::vector<std::size_t> trial_of(decisions.item_of.size(), kMissing);
  std::set<std::tuple<std::size_t, std::size_t, std::size_t>> taken;
  const auto take = [&](std::size_t i, std::size_t trial) {
    if (taken.emplace(decisions.appraiser_of[i], decisions.item_of[i], trial).second)
      trial_of[i] = trial;
    return trial_of[i] != kMissing;
  };
  for (std::size_t i = 0; i < decisions.trial_of.size(); ++i) {
    if (decisions.trial_of[i]) take(i, *decisions.trial_of[i]);
  }
  for (std::size_t i = 0; i < trial_of.size(); ++i) {
    for (std::size_t trial = 0; trial_of[i] == kMissing && !take(i, trial);) ++trial;
  }
  return trial_of;
}

// Raters of each appraiser, all of the same trials. What an appraiser does not have is missing.
std::vector<std::vector<Rater>> RatersOf(const Decisions& decisions) {
  const auto trial_of = TrialsOf(decisions);
  const auto trials = trial_of.empty() ? 0 : *std::ranges::max_element(trial_of) + 1;
  std::vector<std::vector<Rater>> raters(
      decisions.appraisers.size(),
      std::vector<Rater>(trials, Rater(decisions.items.size(), kMissing)));
  for (std::size_t i = 0; i < trial_of.size(); ++i) {
    raters[decisions.appraiser_of[i]][trial_of[i]][decisions.item_of[i]] = decisions.category_of[i];
  }
  return raters;
}

std::size_t DecisionsOf(const Rater& rater) {
  return rater.size() - static_cast<std::size_t>(std::ranges::count(rater, kMissing));
}

// The fewest that an appraiser has.
std::size_t FewestDecisions(const std::vector<std::vector<Rater>>& raters) {
  std::size_t fewest = kMissing;
  for (const auto& own : raters) {
    std::size_t count = 0;
    for (const auto& trial : own) count += DecisionsOf(trial);
    fewest = std::min(fewest, count);
  }
  return raters.empty() ? 0 : fewest;
}

// The trials of one appraiser that have more than half as many decisions as the fullest. left: the
// decisions of the others are added.
std::vector<const Rater*> WholeTrials(const std::vector<Rater>& trials, std::size_t& left) {
  std::size_t most = 0;
  for (const auto& trial : trials) most = std::max(most, DecisionsOf(trial));
  std::vector<const Rater*> whole;
  for (const auto& trial : trials) {
    const auto count = DecisionsOf(trial);
    if (2 * count > most) {
      whole.push_back(&trial);
    } else {
      left += count;
    }
  }
  return whole;
}

Agreed AgreementOf(std::span<const Rater* const> raters, std::size_t items, double level) {
  Agreed found;
  found.percent.level = level;
  found.percent.method = "Clopper-Pearson";
  for (std::size_t item = 0; item < items; ++item) {
    const auto first = (*raters.front())[item];
    bool complete = true, equal = true;
    for (const auto* rater : raters) {
      complete = complete && (*rater)[item] != kMissing;
      equal = equal && (*rater)[item] == first;
    }
    if (!complete) continue;
    ++found.items;
    if (equal) ++found.agreed;
  }
  if (found.items == 0) return found;
  const double n = static_cast<double>(found.items), k = static_cast<double>(found.agreed);
  const double tail = (1.0 - level) / 2.0;
  found.percent.value = 100.0 * k / n;
  found.percent.lower =
      found.agreed == 0 ? 0.0 : 100.0 * statistics::BetaQuantile(tail, k, n - k + 1.0);
  found.percent.upper = found.agreed == found.items
                            ? 100.0
                            : 100.0 * statistics::BetaQuantile(1.0 - tail, k + 1.0, n - k);
  return found;
}

void TestKappa(Kappa& kappa) {
  kappa.test.statistic = "z";
  kappa.test.method = "normal";
  if (!(kappa.error > 0.0) || std::isnan(kappa.value)) return;
  kappa.test.value = kappa.value / kappa.error;
  kappa.test.p = statistics::NormalAbove(kappa.test.value);
}

FleissKappa FleissOf(std::span<const Rater* const> raters, std::size_t items,
                     std::size_t categories) {
  FleissKappa fleiss;
  fleiss.of_category.resize(categories);
  const double m = static_cast<double>(raters.size());
  std::vector<double> shares(categories, 0.0), split(categories, 0.0);
  std::vector<double> counts(categories);
  double n = 0.0;
  for (std::size_t item = 0; item < items; ++item) {
    std::ranges::fill(counts, 0.0);
    bool complete = true;
    for (const auto* rater : raters) {
      const auto category = (*rater)[item];
      complete = complete && category != kMissing;
      if (complete) counts[category] += 1.0;
    }
    if (!complete) continue;
    n += 1.0;
    for (std::size_t j = 0; j < categories; ++j) {
      shares[j] += counts[j];
      split[j] += counts[j] * (m - counts[j]);
    }
  }
  if (n == 0.0 || m < 2.0) return fleiss;
  const double pairs = n * m * (m - 1.0);
  double sum_pq = 0.0, sum_skew = 0.0, sum_split = 0.0;
  for (std::size_t j = 0; j < categories; ++j) {
    const double p = shares[j] / (n * m), q = 1.0 - p;
    sum_split += split[j];
    if (!(p > 0.0) || shares[j] == n * m) continue;
    auto& kappa = fleiss.of_category[j];
    kappa.value = 1.0 - split[j] / (pairs * p * q);
    kappa.error = std::sqrt(2.0 / pairs);
    TestKappa(kappa);
    sum_pq += p * q;
    sum_skew += p * q * (q - p);
  }
  if (!(sum_pq > 0.0)) return fleiss;
  fleiss.all.value = 1.0 - sum_split / (pairs * sum_pq);
  fleiss.all.error =
      std::sqrt(2.0 * std::max(0.0, sum_pq * sum_pq - sum_skew)) / (sum_pq * std::sqrt(pairs));
  TestKappa(fleiss.all);
  return fleiss;
}

// The mean of those that are numbers; NaN without any.
double MeanOf(std::span<const double> values) {
  double sum = 0.0, count = 0.0;
  for (const double value : values) {
    if (std::isnan(value)) continue;
    sum += value;
    count += 1.0;
  }
  return count > 0.0 ? sum / count : kNaN;
}

// Means of what several give; their errors are not known.
FleissKappa MeanOf(const std::vector<FleissKappa>& all, std::size_t categories) {
  FleissKappa mean;
  mean.of_category.resize(categories);
  std::vector<double> values(all.size());
  const auto mean_of = [&](auto kappa) {
    std::ranges::transform(all, values.begin(),
                           [&](const FleissKappa& each) { return kappa(each).value; });
    return MeanOf(values);
  };
  mean.all.value = mean_of([](const FleissKappa& each) { return each.all; });
  for (std::size_t j = 0; j < categories; ++j) {
    mean.of_category[j].value =
        mean_of([j](const FleissKappa& each) { return each.of_category[j]; });
  }
  return mean;
}

// Pairs of raters side by side, all together.
Kappa CohenOf(std::span<const std::pair<const Rater*, const Rater*>> pairs, std::size_t items,
              std::size_t categories) {
  Kappa kappa;
  std::vector<double> first(categories, 0.0), second(categories, 0.0);
  double count = 0.0, equal = 0.0;
  for (const auto& [a, b] : pairs) {
    for (std::size_t item = 0; item < items; ++item) {
      const auto of_a = (*a)[item], of_b = (*b)[item];
      if (of_a == kMissing || of_b == kMissing) continue;
      first[of_a] += 1.0;
      second[of_b] += 1.0;
      count += 1.0;
      if (of_a == of_b) equal += 1.0;
    }
  }
  if (count == 0.0) return kappa;
  const double observed = equal / count;
  double expected = 0.0, spread = 0.0;
  for (std::size_t j = 0; j < categories; ++j) {
    const double p = first[j] / count, q = second[j] / count;
    expected += p * q;
    spread += p * q * (p + q);
  }
  if (!(expected < 1.0)) return kappa;
  kappa.value = (observed - expected) / (1.0 - expected);
  kappa.error = std::sqrt(std::max(0.0, expected + expected * expected - spread)) /
                ((1.0 - expected) * std::sqrt(count));
  TestKappa(kappa);
  return kappa;
}

// Kendall's tau-b of two raters. rank: of each category.
double TauOf(const Rater& a, const Rater& b, std::span<const double> rank) {
  double concordant = 0.0, tied_a = 0.0, tied_b = 0.0, pairs = 0.0;
  std::vector<std::pair<double, double>> known;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i] != kMissing && b[i] != kMissing) known.emplace_back(rank[a[i]], rank[b[i]]);
  }
  const auto sign = [](double x) { return static_cast<double>((x > 0.0) - (x < 0.0)); };
  for (std::size_t i = 0; i < known.size(); ++i) {
    for (std::size_t j = i + 1; j < known.size(); ++j) {
      const double of_a = sign(known[i].first - known[j].first);
      const double of_b = sign(known[i].second - known[j].second);
      concordant += of_a * of_b;
      tied_a += of_a == 0.0 ? 1.0 : 0.0;
      tied_b += of_b == 0.0 ? 1.0 : 0.0;
      pairs += 1.0;
    }
  }
  const double free = (pairs - tied_a) * (pairs - tied_b);
  return free > 0.0 ? concordant / std::sqrt(free) : kNaN;
}

// The test of Kendall's W of raters; w: W itself.
TestOfSignificance ConcordanceOf(std::span<const Rater* const> raters, std::size_t items,
                                 std::span<const double> rank, double& w) {
  TestOfSignificance test;
  test.statistic = "chi-square";
  test.method = "Kendall's W";
  std::vector<std::size_t> complete;
  for (std::size_t item = 0; item < items; ++item) {
    if (std::ranges::all_of(raters, [&](const Rater* r) { return (*r)[item] != kMissing; }))
      complete.push_back(item);
  }
  const double n = static_cast<double>(complete.size()), m = static_cast<double>(raters.size());
  test.degrees = {n - 1.0};
  if (complete.size() < 2 || raters.size() < 2) return test;
  std::vector<double> sums(complete.size(), 0.0);
  double ties = 0.0;
  std::vector<double> counts(rank.size());
  for (const auto* rater : raters) {
    std::ranges::fill(counts, 0.0);
    for (const auto item : complete) counts[(*rater)[item]] += 1.0;
    for (std::size_t i = 0; i < complete.size(); ++i) {
      const auto own = (*rater)[complete[i]];
      double below = 0.0;
      for (std::size_t j = 0; j < counts.size(); ++j) {
        if (rank[j] < rank[own]) below += counts[j];
      }
      sums[i] += below + (counts[own] + 1.0) / 2.0;
    }
    for (const double t : counts) ties += t * t * t - t;
  }
  double squares = 0.0;
  for (const double sum : sums) {
    const double deviation = sum - m * (n + 1.0) / 2.0;
    squares += deviation * deviation;
  }
  const double most = m * m * (n * n * n - n) - m * ties;
  if (!(most > 0.0)) return test;
  w = 12.0 * squares / most;
  test.value = m * (n - 1.0) * w;
  test.p = statistics::ChiSquareAbove(test.value, n - 1.0);
  return test;
}

// Decisions of all trials on items whose standard is, or is not, the good one.
WrongDecisions WrongOf(const std::vector<Rater>& trials, const Rater& standard, std::size_t good,
                       bool on_good) {
  WrongDecisions found;
  for (const auto& trial : trials) {
    for (std::size_t item = 0; item < standard.size(); ++item) {
      if (trial[item] == kMissing || standard[item] == kMissing) continue;
      if ((standard[item] == good) != on_good) continue;
      ++found.decisions;
      if ((trial[item] == good) != on_good) ++found.wrong;
    }
  }
  if (found.decisions > 0) {
    found.share = static_cast<double>(found.wrong) / static_cast<double>(found.decisions);
  }
  return found;
}

// Of each appraiser, with notes of what is not alike. Sets study.trials.
std::vector<std::vector<const Rater*>> TrialsToCompare(
    const std::vector<std::vector<Rater>>& raters, AgreementStudy& study) {
  std::vector<std::vector<const Rater*>> whole;
  std::size_t left = 0;
  std::string counts;
  for (std::size_t a = 0; a < raters.size(); ++a) {
    whole.push_back(WholeTrials(raters[a], left));
    const auto count = whole.back().size();
    study.trials = std::max(study.trials, count);
    counts += (a == 0 ? "" : ", ") + study.appraisers[a].name + " " + std::to_string(count);
  }
  if (std::ranges::any_of(whole, [&](const auto& own) { return own.size() != study.trials; })) {
    study.notes.push_back(
        {"trials-differ", "Appraisers differ in their number of trials: " + counts + ".", {}});
  }
  if (left > 0) {
    study.notes.push_back(
        {"part-trials",
         std::to_string(left) + (left == 1 ? " decision is" : " decisions are") +
             " of trials that their appraiser has of few items, and left out where trials are "
             "compared.",
         {}});
  }
  return whole;
}

std::vector<double> RanksOf(const std::vector<std::string>& categories,
                            const std::vector<std::string>& order) {
  std::vector<double> ranks;
  if (order.empty()) return ranks;
  for (const auto& category : categories) {
    const auto found = std::ranges::find(order, category);
    if (found == order.end()) {
      throw std::invalid_argument("the order lacks the category " + category);
    }
    ranks.push_back(static_cast<double>(found - order.begin()));
  }
  return ranks;
}

}  // namespace

void Decisions::Add(std::string_view item, std::string_view appraiser, std::string_view category,
                    std::string_view standard, std::string_view trial) {
  const auto at = IndexOf(items, item);
  if (standards.size() < items.size()) standards.resize(items.size());
  item_of.push_back(at);
  appraiser_of.push_back(IndexOf(appraisers, appraiser));
  category_of.push_back(category.empty() ? kMissing : IndexOf(categories, category));
  if (!standard.empty()) standards[at] = IndexOf(categories, standard);
  trial_of.emplace_back();
  if (!trial.empty()) trial_of.back() = IndexOf(trials, trial);
}

bool Decisions::IsStandardOf(std::string_view item, std::string_view standard) const {
  const auto found = std::ranges::find(items, item);
  if (found == items.end() || standard.empty()) return true;
  const auto& known = standards[static_cast<std::size_t>(found - items.begin())];
  return !known || categories[*known] == standard;
}

AgreementStudy StudyAgreement(const Decisions& decisions, const AgreementOptions& options) {
  if (!(options.level > 0.0 && options.level < 1.0)) {
    throw std::invalid_argument("level must lie between 0 and 1");
  }
  const auto ranks = RanksOf(decisions.categories, options.order);
  AgreementStudy study;
  study.categories = decisions.categories;
  study.items = decisions.items.size();
  const auto raters = RatersOf(decisions);
  const auto items = study.items, categories = decisions.categories.size();
  for (const auto& name : decisions.appraisers) study.appraisers.emplace_back().name = name;
  const auto whole = TrialsToCompare(raters, study);
  if (!HasEnough(items, {2, 20}, "items", study.notes) || categories == 0) return study;
  HasEnough(FewestDecisions(raters), {0, 50}, "decisions of an appraiser", study.notes);

  Rater standard(items, kMissing);
  for (std::size_t item = 0; item < items; ++item) {
    standard[item] = decisions.standards[item].value_or(kMissing);
  }
  const bool has_standard =
      std::ranges::any_of(standard, [](std::size_t category) { return category != kMissing; });
  const auto good_at = std::ranges::find(decisions.categories, options.good);
  if (!options.good.empty() && good_at == decisions.categories.end()) {
    throw std::invalid_argument("no decision is " + options.good);
  }
  const bool has_good = !options.good.empty();
  const auto good = static_cast<std::size_t>(good_at - decisions.categories.begin());

  std::vector<const Rater*> all;
  std::vector<FleissKappa> to_standard;
  std::vector<double> taus;
  for (std::size_t a = 0; a < raters.size(); ++a) {
    const auto& own = whole[a];
    auto& appraiser = study.appraisers[a];
    all.insert(all.end(), own.begin(), own.end());
    if (own.size() > 1) {
      appraiser.within = AgreementOf(own, items, options.level);
      appraiser.fleiss_within = FleissOf(own, items, categories);
      if (!ranks.empty()) {
        appraiser.w_test = ConcordanceOf(own, items, ranks, appraiser.w);
      }
    }
    if (!has_standard || own.empty()) continue;
    auto with_standard = own;
    with_standard.push_back(&standard);
    appraiser.to_standard = AgreementOf(with_standard, items, options.level);
    if (has_good) {
      appraiser.misses = WrongOf(raters[a], standard, good, false);
      appraiser.false_alarms = WrongOf(raters[a], standard, good, true);
    }
    std::vector<FleissKappa> of_trials;
    std::vector<double> taus_of_trials;
    for (const auto* trial : own) {
      const Rater* two[] = {trial, &standard};
      of_trials.push_back(FleissOf(two, items, categories));
      if (!ranks.empty()) taus_of_trials.push_back(TauOf(*trial, standard, ranks));
    }
    std::vector<std::pair<const Rater*, const Rater*>> pairs;
    for (const auto& trial : raters[a]) pairs.emplace_back(&trial, &standard);
    appraiser.fleiss_to_standard = MeanOf(of_trials, categories);
    appraiser.cohen_to_standard = CohenOf(pairs, items, categories);
    to_standard.push_back(appraiser.fleiss_to_standard);
    appraiser.tau = MeanOf(taus_of_trials);
    taus.push_back(appraiser.tau);
  }
  if (all.empty()) return study;

  const auto have_trials =
      std::ranges::count_if(whole, [](const auto& own) { return !own.empty(); });
  if (have_trials > 1) {
    study.between = AgreementOf(all, items, options.level);
    study.fleiss_between = FleissOf(all, items, categories);
  }
  if (has_standard) {
    auto with_standard = all;
    with_standard.push_back(&standard);
    study.all_to_standard = AgreementOf(with_standard, items, options.level);
    study.fleiss_to_standard = MeanOf(to_standard, categories);
    study.tau = MeanOf(taus);
  } else {
    study.notes.push_back({"no-standard", "No item has a standard.", {}});
  }
  for (std::size_t a = 0; a < raters.size(); ++a) {
    for (std::size_t b = a + 1; b < raters.size(); ++b) {
      std::vector<std::pair<const Rater*, const Rater*>> pairs;
      for (std::size_t t = 0; t < raters[a].size(); ++t) {
        pairs.emplace_back(&raters[a][t], &raters[b][t]);
      }
      study.pairs.push_back({a, b, CohenOf(pairs, items, categories)});
    }
  }
  if (!ranks.empty()) study.w_test = ConcordanceOf(all, items, ranks, study.w);
  return study;
}

}  // namespace orvspc::studies
