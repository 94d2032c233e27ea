// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/charts/Marks.h"
#include "engine/charts/RunRows.h"
#include "engine/store/large_data.h"

// What runs along the lines of every stream. lines_of(stream) returns lines with At(place) and
// IsConstant(), which are asked in ascending order.
namespace orvspc::engine::charts {

template <class LinesOf>
void WriteLines(const StreamTable& table, LinesOf lines_of, double statistics::PointLimits::*line,
                std::span<double> out) {
  const auto streams = table.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    auto lines = lines_of(s);
    if (lines.IsConstant()) {
      const double value = lines.At(streams[s].begin).*line;
      for (auto place = streams[s].begin; place < streams[s].end; ++place) {
        out[table.SubgroupAt(place)] = value;
      }
      continue;
    }
    for (auto place = streams[s].begin; place < streams[s].end; ++place) {
      out[table.SubgroupAt(place)] = lines.At(place).*line;
    }
  }
}

// Judges the points of one graph by the rules. restart: a change of the stored limits begins anew.
template <class LinesOf>
void EvaluateStreams(const StreamTable& table, const RunRows& rows,
                     const std::vector<double>& points, LinesOf lines_of, bool restart,
                     std::span<const statistics::RunRule> rules,
                     std::vector<std::uint32_t>& marks) {
  const auto streams = table.Streams();
  marks.resize(table.Count());
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    store::ForHalves(stream.Count(), [&](std::size_t from, std::size_t to) {
      auto lines = lines_of(s);
      MarkInput input;
      input.points = Part(points, stream);
      input.used = Part(table.Used(), stream);
      input.lines = [&](std::size_t i) { return lines.At(stream.begin + i); };
      statistics::PointLimits constant{};
      if (lines.IsConstant()) {
        constant = lines.At(stream.begin);
        input.constant = &constant;
      }
      if (restart) {
        input.restart = [&](std::size_t i) { return rows.RestartsAt(stream, stream.begin + i); };
      }
      EvaluateMarks(input, rules, std::span(marks).subspan(stream.begin, stream.Count()), from, to);
    });
  }
}

}  // namespace orvspc::engine::charts
