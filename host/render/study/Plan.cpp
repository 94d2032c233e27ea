// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Plan.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

std::vector<double> ColumnOf(const PlanDocument& document, double studies::PlanPoint::*figure) {
  std::vector<double> column;
  column.reserve(document.curve.size());
  for (const auto& point : document.curve) column.push_back(point.*figure);
  return column;
}

const char* ModelWord(studies::CountModel model) {
  switch (model) {
    case studies::CountModel::Hypergeometric:
      return "hypergeometric";
    case studies::CountModel::Poisson:
      return "Poisson";
    case studies::CountModel::Binomial:
      break;
  }
  return "binomial";
}

const char* WordOf(studies::LotVerdict verdict) {
  switch (verdict) {
    case studies::LotVerdict::Take:
      return "take";
    case studies::LotVerdict::Refuse:
      return "refuse";
    case studies::LotVerdict::Undecided:
      break;
  }
  return "undecided";
}

// "Take the lot with at most 3 bad units in a sample of 132."
std::string SayPlan(const PlanDocument& document) {
  const std::string bad = document.model == studies::CountModel::Poisson ? "defects" : "bad units";
  const auto number = [](std::int64_t value) { return std::to_string(value); };
  if (const auto* single = std::get_if<studies::SinglePlan>(&document.plan)) {
    return "sample " + number(single->n) + ", take the lot with at most " + number(single->c) +
           " " + bad;
  }
  if (const auto* pair = std::get_if<studies::DoublePlan>(&document.plan)) {
    return "sample " + number(pair->n1) + ", take the lot with at most " + number(pair->c1) + " " +
           bad + ", refuse it with " + number(pair->r1) + " or more; else sample " +
           number(pair->n2) + " more, and take it with at most " + number(pair->c2) +
           " in both together";
  }
  if (const auto* variables = std::get_if<studies::VariablesPlan>(&document.plan)) {
    return "sample " + number(variables->n) + ", take the lot if the mean lies at least " +
           Significant(variables->k, 5) +
           (variables->sigma_known ? " sigmas inside the limit"
                                   : " standard deviations of the sample inside the limit");
  }
  return "";
}

bool IsByCounts(const PlanDocument& document) {
  return !std::holds_alternative<studies::VariablesPlan>(document.plan);
}

Plot CurveOf(const PlanDocument& document, const char* title, const char* caption,
             double studies::PlanPoint::*figure) {
  Plot plot;
  plot.title = title;
  plot.caption = caption;
  plot.x.title = "share in the lot";
  plot.height = 220.0;
  plot.lines.push_back(
      {"d", ColumnOf(document, &studies::PlanPoint::share), ColumnOf(document, figure), false, ""});
  return plot;
}

}  // namespace

std::string PlanJson(const PlanDocument& document, const Names& /*names*/) {
  return StudyJson(document.head, [&](JsonWriter& json) {
    const auto* single = std::get_if<studies::SinglePlan>(&document.plan);
    const auto* pair = std::get_if<studies::DoublePlan>(&document.plan);
    const auto* variables = std::get_if<studies::VariablesPlan>(&document.plan);
    if (single != nullptr) json.Members("N", single->n, "C", single->c);
    if (pair != nullptr) {
      json.Members("N1", pair->n1, "C1", pair->c1, "R1", pair->r1, "N2", pair->n2, "C2", pair->c2);
    }
    if (variables != nullptr) {
      json.Members("N", variables->n, "K", variables->k, "SigmaKnown", variables->sigma_known);
    }
    if (document.plan.index() == 0) {
      json.NullMember("N");
      json.NullMember("C");
    }
    json.Member("Model", IsByCounts(document) ? ModelWord(document.model) : "normal");
    json.Object("Risks", [&] {
      json.Members("Producer", document.producer, "Consumer", document.consumer);
    });
    json.Members("P", ColumnOf(document, &studies::PlanPoint::share), "OC",
                 ColumnOf(document, &studies::PlanPoint::accepted), "AOQ",
                 ColumnOf(document, &studies::PlanPoint::aoq), "AOQL", document.outgoing.aoql,
                 "AOQLAt", document.outgoing.at, "ATI",
                 ColumnOf(document, &studies::PlanPoint::ati), "ASN",
                 ColumnOf(document, &studies::PlanPoint::asn));
    ObjectMember(json, "Decision", document.judged ? &*document.judged : nullptr,
                 [](JsonWriter& to, const JudgedLot& lot) {
                   to.Members("Lot", lot.name, "Stream", lot.stream, "Subgroups", lot.subgroups,
                              "Units", lot.decision.units, "Found", lot.decision.bad, "Verdict",
                              WordOf(lot.decision.verdict), "Reason", lot.decision.reason);
                 });
  });
}

StudyView MakePlanView(const PlanDocument& document, const Names& /*names*/) {
  StudyView view;
  view.title = "Sampling plan";
  const auto said = SayPlan(document);
  if (!said.empty()) view.title += ": " + said;
  view.subtitle = OptionsText(document.head);
  view.notes = PlainNotes(document.head.notes);
  if (document.plan.index() == 0) return view;

  auto oc = CurveOf(document, "Operating characteristic", "probability that a lot is taken",
                    &studies::PlanPoint::accepted);
  oc.y.range = Range{0.0, 1.02};
  if (document.points) {
    PlotSymbols symbols;
    symbols.look.size = 4.2;
    const auto& points = *document.points;
    symbols.x = {points.aql, points.rql};
    symbols.y = {1.0 - document.producer, document.consumer};
    symbols.tips = {"AQL " + Significant(points.aql, 4) + ": " + Significant(symbols.y[0], 4),
                    "RQL " + Significant(points.rql, 4) + ": " + Significant(symbols.y[1], 4)};
    oc.symbols.push_back(std::move(symbols));
  }
  view.plots.push_back(std::move(oc));
  auto aoq = CurveOf(document, "Average outgoing quality",
                     "share that is left when refused lots are sorted", &studies::PlanPoint::aoq);
  if (!std::isnan(document.outgoing.aoql)) {
    aoq.lines.push_back({"lim",
                         {0.0, document.curve.back().share},
                         {document.outgoing.aoql, document.outgoing.aoql},
                         false,
                         "AOQL " + Significant(document.outgoing.aoql, 3)});
  }
  view.plots.push_back(std::move(aoq));
  if (document.lot) {
    view.plots.push_back(CurveOf(document, "Average total inspection", "units inspected a lot",
                                 &studies::PlanPoint::ati));
  }
  const bool has_asn = std::holds_alternative<studies::DoublePlan>(document.plan);
  if (has_asn) {
    view.plots.push_back(CurveOf(document, "Average sample number", "without curtailment",
                                 &studies::PlanPoint::asn));
  }

  if (document.judged) {
    const auto& lot = *document.judged;
    Table table{
        "Lot " + PlainText(lot.name), {"stream", "#subgroups", "#units", "decision", "why"}, {}};
    table.rows.push_back({lot.stream, std::to_string(lot.subgroups),
                          Significant(lot.decision.units, 15), WordOf(lot.decision.verdict),
                          lot.decision.reason});
    view.tables.push_back(std::move(table));
  }
  Table figures{"Figures", {"figure", "#value", "at"}, {}};
  if (document.points) {
    figures.rows.push_back({"producer's risk", Significant(document.producer, 4),
                            "AQL " + Significant(document.points->aql, 4)});
    figures.rows.push_back({"consumer's risk", Significant(document.consumer, 4),
                            "RQL " + Significant(document.points->rql, 4)});
  }
  if (!std::isnan(document.outgoing.aoql)) {
    figures.rows.push_back({"AOQL", Significant(document.outgoing.aoql, 4),
                            "share " + Significant(document.outgoing.at, 4)});
  }
  view.tables.push_back(std::move(figures));
  Table table{"Curve", {"#share", "#taken", "#AOQ"}, {}};
  if (document.lot) table.headings.emplace_back("#ATI");
  if (has_asn) table.headings.emplace_back("#ASN");
  const std::size_t step = std::max<std::size_t>(1, document.curve.size() / 20);
  for (std::size_t i = 0; i < document.curve.size(); i += step) {
    const auto& point = document.curve[i];
    table.rows.push_back(
        {Significant(point.share, 4), Fixed(point.accepted, 4), Significant(point.aoq, 4)});
    if (document.lot) table.rows.back().push_back(Fixed(point.ati, 1));
    if (has_asn) table.rows.back().push_back(Fixed(point.asn, 1));
  }
  view.tables.push_back(std::move(table));
  return view;
}

}  // namespace orvspc::render
