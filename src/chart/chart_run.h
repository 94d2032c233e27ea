// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "chart/ChartResultRecord.h"
#include "frame/Array.h"
#include "frame/Checked.h"
#include "platform/CtrlChrt6.h"

namespace orvspc {

// The data call of one of the two paths. The library itself knows which run is open.
class ChartRun {
 public:
  using DataCall = std::int32_t (platform::CtrlChrt6::*)(std::int32_t, const platform::ArrayRef&,
                                                         platform::ChartData, std::int32_t);

  ChartRun(platform::CtrlChrt6& library, DataCall data) : library_(library), data_(data) {}

  // Dimensions the array to its final length and has it filled in place; what the library does not
  // write stays 0. A count below 1 fails with 9. Graph is 1 to 3, or 0 where the code has none.
  template <class T>
  void Fetch(Array<T>& array, std::int32_t count, platform::ChartData code,
             std::int32_t graph = 0) const {
    array.Dimension(0, checked::Subtract(count, 1));
    (library_.*data_)(0, array.Ref(), code, graph);
  }

 private:
  platform::CtrlChrt6& library_;
  DataCall data_;
};

// The limits call of the variable path: the three estimates and the average size of each graph. The
// third graph has its place whether there is a chart on it or not.
inline void ReadEstimates(platform::CtrlChrt6& library, API_CCResults& record) {
  library.VLXCRT_VAR_LIMITS(0, record.MeanEstimate, record.SPEstimate, record.SWEstimate,
                            record.Graphs[0].AverageSize, record.Graphs[1].AverageSize,
                            record.Graphs[2].AverageSize);
}

}  // namespace orvspc
