// SPDX-License-Identifier: Apache-2.0
// Settings and selections need no engine and no platform; exit status 0 when they work.
#include <memory>

#include "chart/CCAnalysis.h"

int main() {
  const auto processing = std::make_shared<orvspc::CCProcessing>();
  processing->Graph1Type(orvspc::ccGraph1XMed);
  const auto select = std::make_shared<orvspc::DataSelect>();
  select->MaximumItems(7);
  return processing->Clone()->Graph1Type() == orvspc::ccGraph1XMed && select->MaximumItems() == 7
             ? 0
             : 1;
}
