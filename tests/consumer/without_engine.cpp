// SPDX-License-Identifier: Apache-2.0
// Settings and selections need no engine and no platform; exit status 0 when they work.
#include <memory>

#include "capability/CAAnalysis.h"
#include "chart/CCAnalysis.h"

int main() {
  const auto processing = std::make_shared<orvspc::CCProcessing>();
  processing->Graph1Type(orvspc::ccGraph1XMed);
  const auto capability = std::make_shared<orvspc::CAProcessing>();
  capability->CurveCount(1);
  capability->FixProcessing();
  const auto select = std::make_shared<orvspc::DataSelect>();
  select->MaximumItems(7);
  const bool works = processing->Clone()->Graph1Type() == orvspc::ccGraph1XMed &&
                     capability->Clone()->CurveCount() == 10 && select->MaximumItems() == 7;
  return works ? 0 : 1;
}
