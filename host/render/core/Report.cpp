// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Report.h"

#include "host/render/core/PlainText.h"

namespace orvspc::render {

std::vector<Note> PlainNotes(std::vector<Note> notes) {
  for (auto& note : notes) {
    note.text = PlainText(note.text);
    note.stream = PlainText(note.stream);
  }
  return notes;
}

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many.empty() ? one + "s" : many);
}

}  // namespace orvspc::render
