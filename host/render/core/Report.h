// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "platform/Reports.h"

// What the families hand to the writers of text, SVG and HTML: plain values and finished texts. All
// texts are as PlainText leaves them; the writer of text prints them as they are.
namespace orvspc::render {

// A heading that starts with # is that of numbers, one with @ that of a column that is never
// broken. Where the first heading is empty, the title takes its place.
struct Table {
  std::string title;
  std::vector<std::string> headings;
  std::vector<std::vector<std::string>> rows = {};
  bool beside = false;  // stands beside the picture, not on the page below it
  std::vector<std::string> details =
      {};  // a line below each row, "" for none; empty: no row has one
};

// What the view of every family begins with.
struct View {
  std::string title, subtitle;
  std::vector<Note> notes;
};

std::vector<Note> PlainNotes(std::vector<Note> notes);

// "1 event", "3 events"
std::string Counted(std::size_t count, const std::string& one, const std::string& many = {});

// ", constant 2.325929, from 45": what went into an estimate, as far as it is known.
std::string BasisText(const Estimate& estimate);

// The engine's name of an estimator in the words of the field: "mean of R/d2".
std::string EstimatorText(const std::string& name);

}  // namespace orvspc::render
