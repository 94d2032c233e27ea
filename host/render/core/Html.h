// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/core/Text.h"

namespace orvspc::render {

// One self-contained page: no scripts, nothing fetched from elsewhere, fit for print. Texts are
// escaped, what Add takes is markup already.
class Page {
 public:
  explicit Page(const std::string& title) : title_(title) {}
  // Begins with the subtitle, the picture and the notes.
  Page(const View& view, const Scene& picture);

  void Add(const std::string& markup) { body_ += markup; }
  // Nothing for an empty text. style: a class of assets/page.css, "sub" or "note".
  void Paragraph(const std::string& style, const std::string& text);
  void Heading(const std::string& text);
  // Heading and rows, and how many more rows there are than are shown; nothing without rows.
  void Write(const Table& table, std::size_t more = 0);
  // The same of very many rows: row(i) makes the one that is written next.
  void Write(const std::string& title, const std::vector<std::string>& headings, std::size_t rows,
             const std::function<std::vector<std::string>(std::size_t)>& row);

  std::string Text() const;

 private:
  std::string title_, body_;
};

// A page that shows and links other pages. picture: an embedded SVG.
struct IndexEntry {
  std::string title, text, picture;
  std::vector<std::pair<std::string, std::string>> links;  // text, address
};
std::string RenderIndex(const std::string& title, const std::string& text,
                        const std::vector<IndexEntry>& entries);

}  // namespace orvspc::render
