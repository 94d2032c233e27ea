// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/GroupChart.h"

#include <algorithm>
#include <cmath>

#include "host/render/core/Numbers.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

using studies::GroupExtreme;
using studies::GroupStudy;

struct SideOf {
  const char *word, *limit;
  GroupExtreme GroupStudy::*side;
};
constexpr SideOf kSides[] = {{"high", "UCL", &GroupStudy::high},
                             {"low", "LCL", &GroupStudy::low},
                             {"spread", "UCL", &GroupStudy::spread}};

// Streams are numbered from 1; 0: none, or several that are equal.
std::vector<std::int32_t> Numbered(std::vector<std::int32_t> members) {
  for (auto& member : members) ++member;
  return members;
}

// What only the selection differs in: "Head 3", or the whole name.
std::string MemberName(const GroupDocument& document, const Names& names, std::size_t member) {
  const auto& stream = document.members[member];
  const auto& all = document.data.streams.front();
  const auto name =
      StreamName(names, all.part == 0 ? stream.part : 0, all.process == 0 ? stream.process : 0,
                 all.test == 0 ? stream.test : 0);
  return name.empty() ? StreamName(names, stream.part, stream.process, stream.test) : name;
}

void AddSide(Plot& plot, const StretchPlace& place, const GroupStudy& study,
             const GroupExtreme& side, bool below) {
  const auto x = Places(place, side.values.size());
  plot.lines.push_back({"d", x, side.values, false, ""});
  studies::Stretch shown;
  shown.times = study.times;
  Marks marks(side.values.size());
  for (std::size_t i = 0; i < marks.size(); ++i) {
    if (side.signals[i] != 0) marks[i] = {1};
  }
  AddPoints(plot, place, shown, side.values, marks);
  // Points have the number of their stream instead of that of a rule; it is red where one of them
  // is broken, with a star where the stream is extreme too often.
  for (auto& symbols : plot.symbols) symbols.labels.clear();
  for (std::size_t i = 0; i < side.values.size(); ++i) {
    if (side.members[i] < 0 || std::isnan(side.values[i])) continue;
    const bool is_long = side.long_runs[i] != 0;
    plot.texts.push_back(
        {x[i], side.values[i], std::to_string(side.members[i] + 1) + (is_long ? "*" : ""),
         is_long || side.signals[i] != 0 ? "r" : "s halo", Anchor::Middle, below ? 15.0 : -8.0});
  }
}

Table GroupTable(const GroupDocument& document, const Names& names) {
  Table table{"Charts",
              {"stream", "phase", "#groups", "#streams", "mean", "sigma", "#run that signals",
               "#signals", "#long runs"},
              {}};
  ForEachStretch(document, [&](const studies::Stream& stream, const studies::Stretch& stretch,
                               const GroupStudy& study) {
    std::ptrdiff_t signals = 0, runs = 0;
    for (const auto& each : kSides) {
      signals += std::ranges::count((study.*each.side).signals, 1);
      runs += std::ranges::count((study.*each.side).long_runs, 1);
    }
    table.rows.push_back({StreamName(names, stream.part, stream.process, stream.test),
                          stretch.phase.name, std::to_string(study.times.size()),
                          std::to_string(study.streams), FigureText(study.mean),
                          FigureText(study.sigma), std::to_string(study.run),
                          std::to_string(signals), std::to_string(runs)});
  });
  return table;
}

// How often each stream is extreme, and how often it is missing.
Table MembersTable(const GroupDocument& document, const Names& names) {
  Table table{
      "Streams", {"#number", "stream", "#greatest", "#least", "#most spread", "#missing"}, {}};
  for (std::size_t m = 0; m < document.members.size(); ++m) {
    const auto number = static_cast<std::int32_t>(m);
    std::vector<std::string> row = {std::to_string(m + 1), MemberName(document, names, m)};
    for (const auto& each : kSides) {
      std::ptrdiff_t count = 0;
      ForEachStretch(document, [&](const auto&, const auto&, const GroupStudy& study) {
        count += std::ranges::count((study.*each.side).members, number);
      });
      row.push_back(std::to_string(count));
    }
    std::ptrdiff_t missing = 0;
    ForEachStretch(document, [&](const auto&, const auto&, const GroupStudy& study) {
      for (const auto& streams : study.missing) missing += std::ranges::count(streams, number);
    });
    row.push_back(std::to_string(missing));
    table.rows.push_back(std::move(row));
  }
  return table;
}

}  // namespace

std::string GroupJson(const GroupDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    std::int32_t number = 0;
    json.Objects("Members", document.members, [&](const studies::Stream& stream) {
      json.Members("Number", ++number, "Part", names(NameKind::Part, stream.part), "Process",
                   names(NameKind::Process, stream.process), "Test",
                   names(NameKind::Test, stream.test));
    });
    WriteStreams(json, document, names,
                 [](JsonWriter& to, const studies::Stretch&, const GroupStudy& study) {
                   std::vector<std::vector<std::int32_t>> missing;
                   for (const auto& each : study.missing) missing.push_back(Numbered(each));
                   to.Members("Counts", study.counts, "Missing", missing);
                   to.Objects<Spread::Blocks>("Extreme", kSides, [&](const SideOf& each) {
                     const auto& side = study.*each.side;
                     to.Members("Which", each.word, "Points", side.values, "CL", side.centre,
                                each.limit, side.limits, "SGSizes", side.sizes, "Subgroups",
                                side.subgroups, "Members", Numbered(side.members), "Runs",
                                side.runs);
                     WriteMarks(to, side.signals);
                     to.Member("LongRuns", side.long_runs);
                   });
                   to.Member("Run", study.run);
                   WriteFigure(to, "Mean", study.mean);
                   WriteFigure(to, "Sigma", study.sigma);
                 });
  });
}

StudyView MakeGroupView(const GroupDocument& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "Group chart");
  AddPlots(
      view, document, names, "Greatest and least mean of each group",
      [](Plot& plot, const StretchPlace& place, const studies::Stretch&, const GroupStudy& study) {
        plot.x.title = "group";
        AddLimits(plot, place, {study.high.limits, study.high.centre, study.low.limits});
        AddSide(plot, place, study, study.high, false);
        AddSide(plot, place, study, study.low, true);
      });
  AddPlots(
      view, document, names, "Greatest spread of each group",
      [](Plot& plot, const StretchPlace& place, const studies::Stretch&, const GroupStudy& study) {
        plot.x.title = "group";
        const auto x = Places(place, study.spread.values.size());
        plot.lines.push_back(
            {"lim", x, study.spread.limits, true, LimitLabel("UCL", study.spread.limits)});
        plot.lines.push_back(
            {"cl", x, study.spread.centre, true, LimitLabel("CL", study.spread.centre)});
        AddSide(plot, place, study, study.spread, false);
      });
  for (auto& plot : view.plots) plot.caption += "; number: the stream, *: too often in a row";
  view.tables = {GroupTable(document, names), MembersTable(document, names)};
  return view;
}

}  // namespace orvspc::render
