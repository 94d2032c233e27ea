// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engine/Studies.h"
#include "host/render/core/Json.h"
#include "host/render/core/ResolvedOption.h"
#include "host/render/data/DataReading.h"
#include "host/render/study/StudyView.h"
#include "select/DataSelect.h"

// What the documents of all studies begin with, and how their figures are written.
namespace orvspc::render {

struct StudyHead {
  std::string word;  // "ewma"
  std::vector<ResolvedOption> options = {};
  std::shared_ptr<DataSelect> select = {};  // null: no subgroups were selected
  std::vector<Note> notes = {};
};

// A document of one object: "Study", "Version", "Options", "Selection", what write(json) adds, and
// "Notes". docs/how-to/json.md lists every key.
std::string StudyJson(const StudyHead& head, const std::function<void(JsonWriter&)>& write);

void WriteFigure(JsonWriter& json, const char* key, const studies::Figure& figure);
void WriteInterval(JsonWriter& json, const char* key, const studies::Interval& interval);
void WriteTest(JsonWriter& json, const char* key, const studies::TestOfSignificance& test);
// "Marks": the numbers of the rules that each point breaks; here rule 1 alone, where not 0.
void WriteMarks(JsonWriter& json, const std::vector<std::uint8_t>& signals);

// "0.0312", "< 0.001": a P for people; empty where there is none.
std::string ShareText(double p);

// "Options: weight 0.2, width 3", as captions have them: those that were given.
std::string OptionsText(const StudyHead& head);

// A study of each stretch of the streams of a selection.
template <class Study>
struct StreamStudies {
  StudyHead head;
  studies::StudyData data;
  std::vector<std::vector<Study>> studies;  // by stream, then stretch

  // make(stretch) is the study of one.
  template <class Make>
  void Fill(Make make) {
    for (const auto& stream : data.streams) {
      auto& row = studies.emplace_back();
      for (const auto& stretch : stream.stretches) row.push_back(make(stretch));
    }
  }
  // make(stretch, limits_of): also by the stretch that it has its limits from.
  template <class Make>
  void FillByLimits(Make make) {
    for (const auto& stream : data.streams) {
      auto& row = studies.emplace_back();
      for (const auto& stretch : stream.stretches) {
        row.push_back(make(stretch, &stream.stretches[stretch.limits_of]));
      }
    }
  }
};

// Calls visit(stream, stretch, study) for each.
template <class Study, class Visit>
void ForEachStretch(const StreamStudies<Study>& document, Visit visit) {
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& stream = document.data.streams[s];
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      visit(stream, stream.stretches[p], document.studies[s][p]);
    }
  }
}

// Members of a stretch in "Phases": "ID", "Name", "Kind", "Period", "Times", "Subgroups".
void WriteStretch(JsonWriter& json, const studies::Stretch& stretch);

// "Streams", each with its phases; write(json, stretch, study) writes the members of one.
template <class Study, class Write>
void WriteStreams(JsonWriter& json, const StreamStudies<Study>& document, const Names& names,
                  Write write) {
  std::size_t s = 0;
  json.Objects<Spread::Blocks>(
      "Streams", document.data.streams, [&](const studies::Stream& stream) {
        json.Members("Part", names(NameKind::Part, stream.part), "Process",
                     names(NameKind::Process, stream.process), "Test",
                     names(NameKind::Test, stream.test));
        std::size_t p = 0;
        json.Objects<Spread::Blocks>("Phases", stream.stretches,
                                     [&](const studies::Stretch& stretch) {
                                       WriteStretch(json, stretch);
                                       write(json, stretch, document.studies[s][p]);
                                       ++p;
                                     });
        ++s;
      });
}

// All notes of a document: those of its head, and those of each stretch with the stream's name.
template <class Study>
std::vector<Note> NotesOf(const StreamStudies<Study>& document, const Names& names) {
  auto notes = document.head.notes;
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& stream = document.data.streams[s];
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      for (auto note : document.studies[s][p].notes) {
        const auto& phase = stream.stretches[p].phase;
        if (!phase.name.empty()) note.text = "Phase \"" + phase.name + "\": " + note.text;
        if (note.stream.empty()) {
          note.stream = StreamName(names, stream.part, stream.process, stream.test);
        }
        notes.push_back(std::move(note));
      }
    }
  }
  return notes;
}

// Title, subtitle and notes of a view: what it is ("EWMA"), of what, and when.
template <class Study>
void AddHead(StudyView& view, const StreamStudies<Study>& document, const Names& names,
             const std::string& title) {
  const auto selected = SelectedText(document.head.select.get(), names);
  view.title = selected.empty() ? title : title + ": " + selected;
  view.subtitle = OptionsText(document.head);
  view.notes = PlainNotes(NotesOf(document, names));
  view.empty = document.data.Empty();
}

// Stretches drawn one after the other on one horizontal axis, one place a subgroup.
struct StretchPlace {
  std::size_t stream = 0, stretch = 0;
  double first = 0.0;  // place of its first subgroup, counted from 1
};
std::vector<StretchPlace> PlacesOf(const studies::StudyData& data, std::size_t stream);

// Names at the borders of the phases of a stream.
std::vector<PlotBorder> PhaseBordersOf(const studies::Stream& stream);

}  // namespace orvspc::render
