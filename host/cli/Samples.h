// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

// The sample data that the program carries inside itself.
namespace orvspc::host {

struct Sample {
  std::string file;  // its name, "flow-width.csv"
  std::string text;
};

// By name.
const std::vector<Sample>& Samples();

}  // namespace orvspc::host
