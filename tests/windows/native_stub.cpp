// SPDX-License-Identifier: Apache-2.0
// A capability library that resizes the bins: the number of the curve's points is the number of
// bins that the caller gets back; 0 points destroy the array, -1 leave it without elements.
#include <algorithm>
#include <cstring>

#include "host/windows/native/NativeFunctions.h"

namespace orvspc {
namespace {

using windows::native::ArrayObject;
using windows::native::Int;

Int Resize(ArrayObject bins, Int count) {
  if (count == 0) {
    ::SafeArrayDestroy(*bins);
    *bins = nullptr;
    return 1;
  }
  SAFEARRAYBOUND bound{static_cast<ULONG>(std::max(count, Int{0})), 0};
  if (FAILED(::SafeArrayRedim(*bins, &bound))) return 0;
  for (Int i = 0; i < count; ++i) {
    auto* const place = static_cast<unsigned char*>((*bins)->pvData) +
                        static_cast<std::size_t>(i) * ::SafeArrayGetElemsize(*bins);
    API_CABin bin;
    std::memcpy(&bin, place, sizeof bin);
    bin.YMax = i + 1.0;  // the rest stays
    std::memcpy(place, &bin, sizeof bin);
  }
  return count;
}

}  // namespace

extern "C" Int WINAPI VLXCAP_PROCESSING_LT(Int, Int, API_DSInfo*, Int*, double*, double*,
                                           ArrayObject bins, API_CASummary*, API_CACPs*, API_CAPPs*,
                                           API_CAMoments*, API_CAChiSq*, API_CAAnova*,
                                           API_CASpecLim8*, API_CASpecResults*, API_CANccLim8*,
                                           API_CANccResults*, API_CAReserved*,
                                           const API_CAOptions* options, Int) {
  return Resize(bins, options->CurveCount);
}

extern "C" Int WINAPI VLXCAP_JOHNSONCURVEFIT(Int, double*, double*, ArrayObject bins,
                                             API_CASummary*, API_CAPPs*, API_CAChiSq*,
                                             API_CASpecLim8*, API_CASpecResults*,
                                             const API_CAOptions* options) {
  return Resize(bins, options->CurveCount);
}

}  // namespace orvspc
