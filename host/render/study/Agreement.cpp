// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Agreement.h"

#include <cmath>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

void WriteAgreed(JsonWriter& json, const char* key, const studies::Agreed& agreed) {
  json.Object(key, [&] {
    json.Members("Items", agreed.items, "Agreed", agreed.agreed);
    WriteInterval(json, "Percent", agreed.percent);
  });
}

void WriteWrong(JsonWriter& json, const char* key, const studies::WrongDecisions& wrong) {
  json.Object(
      key,
      [&] {
        json.Members("Decisions", wrong.decisions, "Wrong", wrong.wrong, "Share", wrong.share);
      },
      true);
}

// Every kappa of a study with its name.
struct NamedKappa {
  std::string kind, of, category;  // "Fleiss", "within Ann", "yes"; category empty: all
  studies::Kappa kappa;
};

std::vector<NamedKappa> KappasOf(const studies::AgreementStudy& study) {
  std::vector<NamedKappa> kappas;
  const auto add = [&](const std::string& of, const studies::FleissKappa& fleiss) {
    if (fleiss.of_category.empty()) return;
    kappas.push_back({"Fleiss", of, "", fleiss.all});
    for (std::size_t j = 0; j < fleiss.of_category.size(); ++j) {
      kappas.push_back({"Fleiss", of, study.categories[j], fleiss.of_category[j]});
    }
  };
  for (const auto& each : study.appraisers) add("within " + each.name, each.fleiss_within);
  for (const auto& each : study.appraisers) {
    add(each.name + " and standard", each.fleiss_to_standard);
    if (each.to_standard.items > 0) {
      kappas.push_back({"Cohen", each.name + " and standard", "", each.cohen_to_standard});
    }
  }
  add("between", study.fleiss_between);
  add("all and standard", study.fleiss_to_standard);
  for (const auto& pair : study.pairs) {
    kappas.push_back(
        {"Cohen", study.appraisers[pair.first].name + " and " + study.appraisers[pair.second].name,
         "", pair.cohen});
  }
  return kappas;
}

std::string PercentText(const studies::Agreed& agreed) { return Fixed(agreed.percent.value, 1); }

std::string BoundsText(const studies::Agreed& agreed) {
  return Fixed(agreed.percent.lower, 1) + " to " + Fixed(agreed.percent.upper, 1);
}

// Percents of agreement with their intervals, one place each.
Plot PercentPlot(const std::string& title,
                 const std::vector<std::pair<std::string, const studies::Agreed*>>& all) {
  Plot plot;
  plot.title = title;
  plot.caption = "bars: Clopper-Pearson";
  plot.y.title = "% of items";
  plot.y.range = Range{0.0, 100.0};
  PlotSymbols symbols;
  double x = 0.0;
  for (const auto& [name, agreed] : all) {
    x += 1.0;
    plot.x.ticks.emplace_back(x, PlainText(name));
    if (agreed->items == 0) continue;
    plot.bars.push_back({x - 0.1, x + 0.1, agreed->percent.lower, agreed->percent.upper, "bar",
                         name + ": " + BoundsText(*agreed)});
    symbols.x.push_back(x);
    symbols.y.push_back(agreed->percent.value);
    symbols.tips.push_back(name + ": " + std::to_string(agreed->agreed) + " of " +
                           std::to_string(agreed->items));
  }
  plot.x.range = Range{0.5, x + 0.5};
  symbols.look.size = 4.2;
  plot.symbols.push_back(std::move(symbols));
  return plot;
}

}  // namespace

std::string AgreementJson(const AgreementDocument& document, const Names& /*names*/) {
  const auto& study = document.study;
  auto head = document.head;
  head.notes.insert(head.notes.end(), study.notes.begin(), study.notes.end());
  return StudyJson(head, [&](JsonWriter& json) {
    json.Members("Items", study.items, "Trials", study.trials, "Categories", study.categories);
    json.Object("Agreement", [&] {
      json.Objects<Spread::Blocks>("Appraisers", study.appraisers,
                                   [&](const studies::AppraiserAgreement& each) {
                                     json.Member("Appraiser", each.name);
                                     WriteAgreed(json, "Within", each.within);
                                     WriteAgreed(json, "Standard", each.to_standard);
                                     WriteWrong(json, "Misses", each.misses);
                                     WriteWrong(json, "FalseAlarms", each.false_alarms);
                                     json.Members("Tau", each.tau, "W", each.w);
                                     WriteTest(json, "WTest", each.w_test);
                                   });
      WriteAgreed(json, "Between", study.between);
      WriteAgreed(json, "AllToStandard", study.all_to_standard);
      json.Members("Tau", study.tau, "W", study.w);
      WriteTest(json, "WTest", study.w_test);
    });
    json.Objects("Kappa", KappasOf(study), [&](const NamedKappa& each) {
      json.Members("Kind", each.kind, "Of", each.of);
      json.MemberIf(!each.category.empty(), "Category", each.category);
      json.Members("Value", each.kappa.value, "SE", each.kappa.error);
      WriteTest(json, "Test", each.kappa.test);
    });
  });
}

StudyView MakeAgreementView(const AgreementDocument& document, const Names& /*names*/) {
  const auto& study = document.study;
  StudyView view;
  view.title = "Agreement of appraisers";
  view.subtitle = OptionsText(document.head);
  auto notes = document.head.notes;
  notes.insert(notes.end(), study.notes.begin(), study.notes.end());
  view.notes = PlainNotes(std::move(notes));
  view.empty = study.items == 0;
  view.columns = 2;
  std::vector<std::pair<std::string, const studies::Agreed*>> within, standard;
  bool has_standard = false, has_trials = false;
  for (const auto& each : study.appraisers) {
    within.emplace_back(each.name, &each.within);
    standard.emplace_back(each.name, &each.to_standard);
    has_standard = has_standard || each.to_standard.items > 0;
    has_trials = has_trials || each.within.items > 0;
  }
  within.emplace_back("between", &study.between);
  standard.emplace_back("all", &study.all_to_standard);
  if (has_trials || study.between.items > 0) {
    view.plots.push_back(PercentPlot("Agreement within appraisers", within));
  }
  if (has_standard) view.plots.push_back(PercentPlot("Agreement with the standard", standard));

  Table table{"Agreement", {"", "of", "#items", "#agreed", "#%", "@interval"}, {}};
  const auto add = [&](const char* kind, const std::string& name, const studies::Agreed& agreed) {
    if (agreed.items == 0) return;
    table.rows.push_back({kind, PlainText(name), std::to_string(agreed.items),
                          std::to_string(agreed.agreed), PercentText(agreed), BoundsText(agreed)});
  };
  for (const auto& each : study.appraisers) add("within", each.name, each.within);
  for (const auto& each : study.appraisers) add("with the standard", each.name, each.to_standard);
  add("between", "all", study.between);
  add("with the standard", "all", study.all_to_standard);
  view.tables.push_back(std::move(table));

  Table wrong{"Wrong decisions",
              {"appraiser", "#misses", "#of bad", "#%", "#false alarms", "#of good", "#%"},
              {}};
  for (const auto& each : study.appraisers) {
    if (each.misses.decisions + each.false_alarms.decisions == 0) continue;
    wrong.rows.push_back(
        {PlainText(each.name), std::to_string(each.misses.wrong),
         std::to_string(each.misses.decisions), Fixed(100.0 * each.misses.share, 1),
         std::to_string(each.false_alarms.wrong), std::to_string(each.false_alarms.decisions),
         Fixed(100.0 * each.false_alarms.share, 1)});
  }
  view.tables.push_back(std::move(wrong));

  Table kappas{"Kappa", {"kind", "of", "category", "#kappa", "#SE", "#z", "#P"}, {}};
  for (const auto& each : KappasOf(study)) {
    kappas.rows.push_back({each.kind, PlainText(each.of), PlainText(each.category),
                           Fixed(each.kappa.value, 4),
                           std::isnan(each.kappa.error) ? "" : Fixed(each.kappa.error, 4),
                           std::isnan(each.kappa.test.value) ? "" : Fixed(each.kappa.test.value, 3),
                           ShareText(each.kappa.test.p)});
  }
  view.tables.push_back(std::move(kappas));

  Table ranks{"Rank correlation", {"of", "#tau-b", "#W", "#chi-square", "#P"}, {}};
  const auto add_ranks = [&](const std::string& name, double tau, double w,
                             const studies::TestOfSignificance& test) {
    if (std::isnan(tau) && std::isnan(w)) return;
    ranks.rows.push_back({PlainText(name), Fixed(tau, 4), Fixed(w, 4),
                          std::isnan(test.value) ? "" : Fixed(test.value, 3), ShareText(test.p)});
  };
  for (const auto& each : study.appraisers) add_ranks(each.name, each.tau, each.w, each.w_test);
  add_ranks("all", study.tau, study.w, study.w_test);
  view.tables.push_back(std::move(ranks));
  return view;
}

}  // namespace orvspc::render
