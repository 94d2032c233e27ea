// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dataset/EventData.h"
#include "host/render/data/DataReading.h"

// Process events as plain values, documents and tables.
namespace orvspc::render {

// Leaves the cursor on the last event.
std::vector<EventRow> ReadEvents(EventData& events);

// "downtime", as import files say it; "type 9" for a number without a word.
std::string EventTypeWord(std::int32_t type);
// "open ACC", "open ACC and CAC"; empty for a closed event.
std::string OpenText(std::int32_t flag);

// The member "Events" of an open object.
void WriteEvents(JsonWriter& json, const std::vector<EventRow>& events, const Names& names);

struct EventsDocument {
  const DataSelect* select = nullptr;  // null: a stored set whose selection is not known
  std::vector<EventRow> events;
  std::vector<Note> notes;
};
std::string EventsJson(const EventsDocument& document, const Names& names);
// By time, identifiers by name, below an event its codes; the title counts them.
Table EventsTable(const std::vector<EventRow>& events, const Names& names);
std::string EventsText(const std::vector<EventRow>& events, const Names& names,
                       const TextOptions& options = {});

}  // namespace orvspc::render
