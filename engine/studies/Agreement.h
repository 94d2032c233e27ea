// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/studies/Figures.h"
#include "platform/Reports.h"

// How far appraisers who sort parts into categories agree: each with themselves, with each other,
// and with the standard.
namespace orvspc::studies {

// Decisions in any order; those of one item by one appraiser are its trials. One whose trial is not
// known is of the first that the item and appraiser do not have.
struct Decisions {
  std::vector<std::string> items, appraisers, categories;       // names, as they were added
  std::vector<std::size_t> item_of, appraiser_of, category_of;  // of each decision
  std::vector<std::optional<std::size_t>> standards;            // a category, of each item
  std::vector<std::string> trials;                              // names, as they were added
  std::vector<std::optional<std::size_t>> trial_of;             // of each decision

  // An empty category is a decision that is missing. An empty standard or trial is not known.
  void Add(std::string_view item, std::string_view appraiser, std::string_view category,
           std::string_view standard = {}, std::string_view trial = {});
  // False: the item has another standard already.
  bool IsStandardOf(std::string_view item, std::string_view standard) const;
};

struct AgreementOptions {
  double level = 0.95;
  std::string good;  // the category of a good part, for misses and false alarms; empty: not known
  // Categories from low to high, for Kendall's figures; empty: they have no order.
  std::vector<std::string> order;
};

// Items on which all agree, of those that have all decisions.
struct Agreed {
  std::size_t items = 0, agreed = 0;
  Interval percent;  // 0 to 100, after Clopper and Pearson
};

// Decisions that were wrong, of those on items of one kind.
struct WrongDecisions {
  std::size_t decisions = 0, wrong = 0;
  double share = platform::kNaN;  // wrong / decisions
};

struct Kappa {
  double value = platform::kNaN;
  double error = platform::kNaN;  // standard error, as it is where there is no agreement
  TestOfSignificance test;        // that it is not above 0
};

struct FleissKappa {
  Kappa all;
  std::vector<Kappa> of_category;  // one a category
};

struct AppraiserAgreement {
  std::string name;
  Agreed within;                // all trials are equal
  Agreed to_standard;           // all trials are equal to the standard
  WrongDecisions misses;        // bad called good, of the decisions on bad items
  WrongDecisions false_alarms;  // good called bad
  FleissKappa fleiss_within, fleiss_to_standard;
  Kappa cohen_to_standard;      // all trials together
  double tau = platform::kNaN;  // Kendall's tau-b with the standard, mean of the trials with one
  double w = platform::kNaN;    // Kendall's coefficient of concordance of the trials
  TestOfSignificance w_test;
};

// Two appraisers, trial by trial.
struct PairAgreement {
  std::size_t first = 0, second = 0;
  Kappa cohen;
};

struct AgreementStudy {
  std::size_t items = 0;
  std::size_t trials = 0;  // of the appraiser with most of them
  std::vector<std::string> categories;
  std::vector<AppraiserAgreement> appraisers;
  Agreed between;                                  // all decisions of all appraisers are equal
  Agreed all_to_standard;                          // and are the standard
  FleissKappa fleiss_between, fleiss_to_standard;  // the latter: mean of the appraisers
  std::vector<PairAgreement> pairs;
  double tau = platform::kNaN;  // mean of the appraisers with one
  double w = platform::kNaN;    // Kendall's coefficient of concordance, all decisions
  TestOfSignificance w_test;
  std::vector<Note> notes;
};

// N items, m decisions of each, p_j the share of category j:
//   Fleiss   kappa_j = 1 - sum_i x_ij (m - x_ij) / (N m (m - 1) p_j q_j), q = 1 - p
//            kappa = sum p_j q_j kappa_j / sum p_j q_j
//            se_j = sqrt(2 / (N m (m - 1)))
//            se = sqrt(2) sqrt((sum pq)^2 - sum pq (q - p)) / (sum pq sqrt(N m (m - 1)))
//   Cohen    (observed - expected) / (1 - expected) agreement of two, expected of their own shares
//   Kendall  tau-b; W = 12 S / (m^2 (n^3 - n) - m sum (t^3 - t)), chi-square m (n - 1) W with n - 1
// Fleiss' kappa with the standard is the mean, over the trials that have one, of that of trial and
// standard. A kappa is NaN where all decisions are of one category.
// An item without all decisions that a figure needs is left out of that figure. Trials are those
// that an appraiser has; one with at most half as many decisions as the appraiser's fullest counts
// only in Cohen's kappas and in wrong decisions, which need no whole trials. The notes
// "trials-differ" and "part-trials" say so. No figures below 2 items; notes below 20 items and
// below 50 decisions of an appraiser.
// Throws std::invalid_argument for an option out of its range, or an order that lacks a category.
// Source   AIAG, Measurement Systems Analysis, 4th ed., III-C; Fleiss, Nee & Landis, Psychological
//          Bulletin 86 (1979); Kendall & Gibbons, Rank Correlation Methods, 5th ed.
AgreementStudy StudyAgreement(const Decisions& decisions, const AgreementOptions& options = {});

}  // namespace orvspc::studies
