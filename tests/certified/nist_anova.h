// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

// Data of the NIST Statistical Reference Datasets, analysis of variance.
namespace orvspc::certified {

using Treatments = std::vector<std::vector<double>>;

// Resistivity of silicon wafers, five instruments.
inline Treatments SiRstv() {
  return {
      {196.3052, 196.1240, 196.1890, 196.2569, 196.3403},
      {196.3042, 196.3825, 196.1669, 196.3257, 196.0422},
      {196.1303, 196.2005, 196.2889, 196.0343, 196.1811},
      {196.2795, 196.1748, 196.1494, 196.1485, 195.9885},
      {196.2119, 196.1051, 196.1850, 196.0052, 196.2090},
  };
}

// Atomic weight of silver, two instruments.
inline Treatments AtmWtAg() {
  return {
      {107.8681568, 107.8681465, 107.8681572, 107.8681785, 107.8681446, 107.8681903,
       107.8681526, 107.8681494, 107.8681616, 107.8681587, 107.8681519, 107.8681486,
       107.8681419, 107.8681569, 107.8681508, 107.8681672, 107.8681385, 107.8681518,
       107.8681662, 107.8681424, 107.8681360, 107.8681333, 107.8681610, 107.8681477},
      {107.8681079, 107.8681344, 107.8681513, 107.8681197, 107.8681604, 107.8681385,
       107.8681642, 107.8681365, 107.8681151, 107.8681082, 107.8681517, 107.8681448,
       107.8681198, 107.8681482, 107.8681334, 107.8681609, 107.8681101, 107.8681512,
       107.8681469, 107.8681360, 107.8681254, 107.8681261, 107.8681450, 107.8681368},
  };
}

// Simon-Lesage: the values of SmLs01 (offset 1), SmLs04 (1e6) and SmLs07 (1e12), which NIST gives
// to one decimal, so that they are quotients of whole numbers.
inline Treatments SimonLesage(double offset) {
  // Tenths beyond the offset.
  const Treatments tenths = {
      {4, 3, 5, 3, 5, 3, 5, 3, 5, 3, 5, 3, 5, 3, 5, 3, 5, 3, 5, 3, 5},
      {3, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4},
      {5, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6},
      {3, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4},
      {5, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6},
      {3, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4},
      {5, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6},
      {3, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4, 2, 4},
      {5, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6, 4, 6},
  };
  Treatments values = tenths;
  for (auto& treatment : values) {
    for (double& value : treatment) value = (offset * 10.0 + value) / 10.0;
  }
  return values;
}

}  // namespace orvspc::certified
