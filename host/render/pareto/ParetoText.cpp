// SPDX-License-Identifier: Apache-2.0
#include "host/render/pareto/ParetoText.h"

#include <algorithm>
#include <cmath>

#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kMostName = 40, kLeastBar = 12;
constexpr std::size_t kShare = 7;  // "100.0 %"
constexpr const char* kNotShown = "(not shown)";
constexpr const char* kBlue = "\x1b[34m";
constexpr const char* kDim = "\x1b[2m";

class Report {
 public:
  Report(const ParetoView& view, const TextOptions& options)
      : view_(view), colour_(options.colour), width_(std::max<std::size_t>(options.columns, 60)) {}

  std::string Write() {
    Wrapped(view_.title);
    Wrapped(view_.subtitle);
    if (view_.Empty()) {
      Line("no data selected");
    } else {
      Bars();
    }
    for (const auto& note : view_.notes)
      Wrapped("note: " + (note.stream.empty() ? "" : note.stream + ": ") + note.text);
    return out_;
  }

 private:
  void Line(const std::string& text) {
    const std::size_t end = text.find_last_not_of(' ');
    if (end != std::string::npos) out_ += text.substr(0, end + 1) + "\n";
  }

  // Broken at blanks where the terminal ends.
  void Wrapped(const std::string& text) {
    std::string line, word;
    for (std::size_t i = 0; i <= text.size(); ++i) {
      if (i < text.size() && text[i] != ' ') {
        word += text[i];
        continue;
      }
      if (!line.empty() && Width(line) + 1 + Width(word) > width_) {
        Line(line);
        line = "  " + word;
      } else {
        line += (line.empty() ? "" : " ") + word;
      }
      word.clear();
    }
    Line(line);
  }

  std::string Indent() const { return view_.groups.empty() ? "" : "  "; }

  void Measure() {
    if (view_.other > 0.0) name_ = std::max(name_, Width(kNotShown));
    for (const auto& bar : view_.bars) {
      name_ = std::max(name_, Width(Indent() + bar.name));
      value_ = std::max(value_, Width(ParetoValue(bar.value)));
    }
    for (const auto& group : view_.groups) {
      name_ = std::max(name_, Width(group.name));
      value_ = std::max(value_, Width(ParetoValue(group.value)));
    }
    const std::size_t numbers = 1 + value_ + 2 + kShare + 2 + kShare + 2;
    name_ = std::min({name_, kMostName, width_ - numbers - kLeastBar});
    room_ = width_ - name_ - numbers;
  }

  // A value above 0 shows at least a mark.
  std::string Mark(double value, const char* sign) const {
    if (!(value > 0.0)) return {};
    const double share = std::min(value / view_.MostValue(), 1.0);
    const auto length = std::max<long>(std::lround(share * static_cast<double>(room_)), 1);
    std::string bar;
    for (long i = 0; i < length; ++i) bar += sign;
    return bar;
  }

  void Row(const std::string& name, const std::string& value, const std::string& share,
           const std::string& cumulative, const std::string& bar, const char* paint) {
    const std::string head = Padded(Cut(name), name_) + " " + Padded(value, value_, true) + "  " +
                             Padded(share, kShare, true) + "  " + Padded(cumulative, kShare, true) +
                             "  ";
    if (bar.empty()) return Line(head);
    out_ += head + (colour_ && paint ? paint + bar + "\x1b[0m" : bar) + "\n";
  }

  std::string Cut(const std::string& name) const {
    return Width(name) <= name_ ? name : Padded(name, name_ - 1) + "\xE2\x80\xA6";
  }

  static std::string Percent(double share) { return Fixed(share, 1) + " %"; }

  void Bars() {
    Measure();
    out_ += "\n";
    Row("", "value", "share", "cumul.", "", nullptr);
    std::size_t group = 0;
    for (std::size_t i = 0; i < view_.bars.size(); ++i) {
      if (group < view_.groups.size() && view_.groups[group].first == i) {
        const ParetoGroup& each = view_.groups[group++];
        Row(each.name, ParetoValue(each.value), Percent(each.share), "", Mark(each.value, "="),
            kDim);
      }
      const ParetoBar& bar = view_.bars[i];
      Row(Indent() + bar.name, ParetoValue(bar.value), Percent(bar.share), Percent(bar.cumulative),
          Mark(bar.value, "#"), kBlue);
      if (view_.eighty && *view_.eighty == i && i + 1 < view_.bars.size()) Eighty();
    }
    if (view_.other > 0.0)
      Row(kNotShown,
          std::isfinite(view_.whole) ? ParetoValue(view_.whole * view_.other / 100.0) : "",
          Percent(view_.other), Percent(100.0), "", nullptr);
    Legend();
  }

  void Eighty() {
    const std::string text = " 80 % up to here ";
    const std::size_t whole = name_ + 1 + value_ + 2 + kShare + 2 + kShare;
    Line(std::string(whole - std::min(whole, text.size()), '-') + text);
  }

  void Legend() {
    out_ += "\n";
    Wrapped("# " + view_.axis + (view_.groups.empty() ? "" : "   = all bars of the bin"));
  }

  const ParetoView& view_;
  bool colour_;
  std::size_t width_;
  std::size_t name_ = 4, value_ = 5, room_ = kLeastBar;
  std::string out_;
};

}  // namespace

std::string RenderParetoText(const ParetoView& view, const TextOptions& options) {
  return Report(view, options).Write();
}

}  // namespace orvspc::render
