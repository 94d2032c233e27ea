// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Anova.h"

#include "engine/statistics/Distributions.h"

namespace orvspc::engine::statistics {
namespace {

double MeanSquare(double squares, std::int64_t degrees) {
  return degrees > 0 ? squares / static_cast<double>(degrees) : 0.0;
}

}  // namespace

AnovaTable AnovaOf(double within_squares, double between_squares, double total_squares,
                   std::int64_t count, std::int64_t groups) {
  AnovaTable table;
  table.within_degrees = count - groups;
  table.between_degrees = groups - 1;
  table.total_degrees = count - 1;
  table.within_squares = within_squares;
  table.between_squares = between_squares;
  table.total_squares = total_squares;
  table.within_mean = MeanSquare(within_squares, table.within_degrees);
  table.between_mean = MeanSquare(between_squares, table.between_degrees);
  table.total_mean = MeanSquare(total_squares, table.total_degrees);
  if (table.within_degrees < 1 || table.between_degrees < 1) return table;
  if (table.within_mean == 0.0) {
    if (table.between_mean > 0.0) table.probability = 0.0;
    return table;
  }
  table.f = table.between_mean / table.within_mean;
  table.probability = FAbove(table.f, static_cast<double>(table.between_degrees),
                             static_cast<double>(table.within_degrees));
  return table;
}

}  // namespace orvspc::engine::statistics
