// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orvspc::render {

// The markup of one self-contained page. Texts are escaped, what Add takes is markup already.
class Page {
 public:
  explicit Page(const std::string& title);

  void Add(const std::string& markup) { out_ += markup; }
  // Nothing for an empty text. style: a class of the page's style sheet, "sub" or "note".
  void Paragraph(const std::string& style, const std::string& text);
  void Heading(const std::string& text);
  // A heading that starts with # is a number's, one with @ that of a column that is never broken.
  void Table(const std::vector<std::string>& headings,
             const std::vector<std::vector<std::string>>& rows);

  std::string Text() const { return out_ + "</body>\n</html>\n"; }

 private:
  void Cell(const std::string& tag, const std::string& style, const std::string& text);

  std::string out_;
};

}  // namespace orvspc::render
