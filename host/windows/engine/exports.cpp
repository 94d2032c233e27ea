// SPDX-License-Identifier: Apache-2.0
// What orvEngine.dll exports for the five closed libraries: each function calls the embedded
// engine.
//
// - Nothing is thrown into the caller: a failure of any kind returns 0, and so does a missing
//   reference.
// - What is kept between calls is the engine's own, for each thread.
// - A plain array comes without its length. How far it reaches follows from the counts that come
//   with it, and a filter is never taken for longer than the longest that a caller makes.

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>

#include "engine/Embedded.h"
#include "host/windows/native/NativeFunctions.h"
#include "platform/Enumerations.h"

namespace orvspc::windows::native {
namespace {

using platform::ArrayRef;
using platform::Platform;

// The longest filter of a selection and of comments.
constexpr std::size_t kFilterCells = 30'001;
constexpr Int kCommentFilterCells = 10'001;
constexpr Int kGraphs = 3;

// What body(engine) returns; 0 when it fails or when one of the references is missing.
template <class Body, class... References>
Int Answer(Body&& body, const References*... references) noexcept {
  if (((references == nullptr) || ...)) return 0;
  try {
    return body(*EmbeddedPlatform());
  } catch (...) {
    return 0;
  }
}

// The array of a reference to an array object; no elements for one that was never dimensioned
// or has several dimensions. It keeps its length: the engine resizes no array of a caller.
ArrayRef ArrayOf(ArrayObject reference) {
  if (reference == nullptr || *reference == nullptr || (*reference)->cDims != 1) return {};
  auto* const object = *reference;
  return {object->pvData, ::SafeArrayGetElemsize(object), object->rgsabound[0].cElements, {}};
}

// Elements of a plain array; none for a count below 0.
template <class T>
std::span<T> Elements(T* first, Int count, Int limit = std::numeric_limits<Int>::max()) {
  return {first, static_cast<std::size_t>(std::clamp(count, 0, limit))};
}

// In the order of their blocks in the filter array.
constexpr Int API_DSInfo::*kItemTypes[] = {
    &API_DSInfo::AllPart, &API_DSInfo::AllProcess, &API_DSInfo::AllTest,     &API_DSInfo::AllJob,
    &API_DSInfo::AllLot,  &API_DSInfo::AllShift,   &API_DSInfo::AllEmployee, &API_DSInfo::AllCode};

// The filter array of a selection, as far as its blocks reach.
std::span<Int> FilterOf(const API_DSInfo& info, Int* first) {
  std::size_t length = 0;
  // A group cell, the count of what follows, and that.
  const auto take_block = [&](Int type) {
    const auto count = length + 1;
    length = std::min(length + 2, kFilterCells);
    const bool has_items = type == ftItemList || type == ftGroup;
    if (!has_items || count >= kFilterCells || first[count] <= 0) return;
    length = std::min(length + static_cast<std::size_t>(first[count]), kFilterCells);
  };
  for (const auto type : kItemTypes) take_block(info.*type);
  if (info.Filter == 0 || length == kFilterCells) return {first, length};
  const auto others = first[length++];
  for (Int i = 0; i < others && length < kFilterCells; ++i) take_block(ftItemList);
  return {first, length};
}

// A filter of comments: the number of subgroups and these, or -1 and the ends of a range.
std::span<Int> CommentFilterOf(Int* first) {
  constexpr Int kRange = -1, kRangeCells = 3;
  if (*first == kRange) return Elements(first, kRangeCells);
  return Elements(first, std::clamp(*first, 0, kCommentFilterCells - 1) + 1);
}

Int Pareto(decltype(&platform::Pareto6::VLXPAR_PROC) call, Int reserved, Int connection,
           API_DSInfo* info, Int* filter, ArrayObject bins, API_PAOptions* options, Int* words) {
  return Answer(
      [&](Platform& engine) {
        platform::Pareto6::Work work;
        std::copy_n(words, work.size(), work.begin());
        const auto made = (engine.Pareto().*call)(
            reserved, connection, *info, FilterOf(*info, filter), ArrayOf(bins), *options, work);
        std::ranges::copy(work, words);
        return made;
      },
      info, filter, options, words);
}

}  // namespace

extern "C" {

// --- orwDBLib6 -----------------------------------------------------------------------------------

Int WINAPI VLXDBL_CLEARDATASETDATA() {
  return Answer([](Platform& engine) { return engine.DBLib().VLXDBL_CLEARDATASETDATA(); });
}

Int WINAPI VLXDBL_BUILDDATASETDATA(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                                   Int content) {
  return Answer(
      [&](Platform& engine) {
        return engine.DBLib().VLXDBL_BUILDDATASETDATA(reserved, connection, *info,
                                                      FilterOf(*info, filter), content);
      },
      info, filter);
}

Int WINAPI VLXDBL_READDATA_SA(ArrayObject rows, Int content) {
  return Answer(
      [&](Platform& engine) { return engine.DBLib().VLXDBL_READDATA_SA(ArrayOf(rows), content); });
}

Int WINAPI VLXDBL_GETDESCDATA(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                              ArrayObject subgroups, ArrayObject descriptors, Int code) {
  return Answer(
      [&](Platform& engine) {
        return engine.DBLib().VLXDBL_GETDESCDATA(reserved, connection, *info,
                                                 FilterOf(*info, filter), ArrayOf(subgroups),
                                                 ArrayOf(descriptors), code);
      },
      info, filter);
}

Int WINAPI VLXDBL_DATATOFLTR_SA(ArrayObject subgroups, Int code, Int* comment_filter,
                                Int highest_index) {
  return Answer(
      [&](Platform& engine) {
        // The number of cells is the highest index and one, which may not be a number of 32 bits.
        const auto highest = std::min(highest_index, kCommentFilterCells - 1);
        return engine.DBLib().VLXDBL_DATATOFLTR_SA(ArrayOf(subgroups), code,
                                                   Elements(comment_filter, highest + 1), highest);
      },
      comment_filter);
}

Int WINAPI VLXDBL_FINDSGRPCMNT(Int reserved, Int connection, Int* start_subgroup, Int subgroup_end,
                               Int* comment_filter, ArrayObject comments, Int last) {
  return Answer(
      [&](Platform& engine) {
        return engine.DBLib().VLXDBL_FINDSGRPCMNT(reserved, connection, *start_subgroup,
                                                  subgroup_end, CommentFilterOf(comment_filter),
                                                  ArrayOf(comments), last);
      },
      start_subgroup, comment_filter);
}

Int WINAPI VLXDBL_GETALARMMASK(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                               Int chart_word, Int graph_count, Int* alarm_mask) {
  return Answer(
      [&](Platform& engine) {
        return engine.DBLib().VLXDBL_GETALARMMASK(reserved, connection, *info,
                                                  FilterOf(*info, filter), chart_word, graph_count,
                                                  Elements(alarm_mask, graph_count, kGraphs));
      },
      info, filter, alarm_mask);
}

Int WINAPI VLXDBL_BUILDEVENTDATA(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                                 Int* events, Int last) {
  return Answer(
      [&](Platform& engine) {
        return engine.DBLib().VLXDBL_BUILDEVENTDATA(reserved, connection, *info,
                                                    FilterOf(*info, filter),
                                                    Elements(events, info->Count), last);
      },
      info, filter, events);
}

Int WINAPI VLXDBL_GETEVENTS(Int reserved, Int connection, Int* events, ArrayObject rows, Int count,
                            Int code) {
  return Answer(
      [&](Platform& engine) {
        return engine.DBLib().VLXDBL_GETEVENTS(reserved, connection, Elements(events, count),
                                               ArrayOf(rows), count, code);
      },
      events);
}

// --- orwCtrlChrt6 --------------------------------------------------------------------------------

Int WINAPI VLXCRT_VCHART_PROCESS_LT(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                                    API_CCVarOptions* options, Int last) {
  return Answer(
      [&](Platform& engine) {
        return engine.CtrlChrt().VLXCRT_VCHART_PROCESS_LT(reserved, connection, *info,
                                                          FilterOf(*info, filter), *options, last);
      },
      info, filter, options);
}

Int WINAPI VLXCRT_VAR_DATA(Int reserved, ArrayObject destination, Int code, Int graph) {
  return Answer([&](Platform& engine) {
    return engine.CtrlChrt().VLXCRT_VAR_DATA(reserved, ArrayOf(destination),
                                             static_cast<platform::ChartData>(code), graph);
  });
}

Int WINAPI VLXCRT_VAR_LIMITS(Int reserved, double* mean, double* sp, double* sw,
                             double* average_size1, double* average_size2, double* average_size3) {
  return Answer(
      [&](Platform& engine) {
        return engine.CtrlChrt().VLXCRT_VAR_LIMITS(reserved, *mean, *sp, *sw, *average_size1,
                                                   *average_size2, *average_size3);
      },
      mean, sp, sw, average_size1, average_size2, average_size3);
}

Int WINAPI VLXCRT_VAR_END() {
  return Answer([](Platform& engine) { return engine.CtrlChrt().VLXCRT_VAR_END(); });
}

Int WINAPI VLXCRT_ATTR_PROCESS_LT(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                                  Int chart_word, Int processing_word, double ewma,
                                  double* aql_value, double* aql_producer_risk, Int last) {
  return Answer(
      [&](Platform& engine) {
        return engine.CtrlChrt().VLXCRT_ATTR_PROCESS_LT(
            reserved, connection, *info, FilterOf(*info, filter), chart_word, processing_word, ewma,
            *aql_value, *aql_producer_risk, last);
      },
      info, filter, aql_value, aql_producer_risk);
}

Int WINAPI VLXCRT_ATTR_DATA(Int reserved, ArrayObject destination, Int code, Int graph) {
  return Answer([&](Platform& engine) {
    return engine.CtrlChrt().VLXCRT_ATTR_DATA(reserved, ArrayOf(destination),
                                              static_cast<platform::ChartData>(code), graph);
  });
}

Int WINAPI VLXCRT_ATTR_END() {
  return Answer([](Platform& engine) { return engine.CtrlChrt().VLXCRT_ATTR_END(); });
}

// --- orwCapAna6 ----------------------------------------------------------------------------------

Int WINAPI VLXCAP_PROCESSING_LT(Int reserved1, Int connection, API_DSInfo* info, Int* filter,
                                double* x, double* y, ArrayObject bins, API_CASummary* summary,
                                API_CACPs* cps, API_CAPPs* pps, API_CAMoments* moments,
                                API_CAChiSq* chi_square, API_CAAnova* anova,
                                API_CASpecLim8* spec_limits, API_CASpecResults* spec_results,
                                API_CANccLim8* ncc_limits, API_CANccResults* ncc_results,
                                API_CAReserved* reserved, const API_CAOptions* options,
                                Int reserved2) {
  return Answer(
      [&](Platform& engine) {
        return engine.CapAna().VLXCAP_PROCESSING_LT(
            reserved1, connection, *info, FilterOf(*info, filter), Elements(x, options->CurveCount),
            Elements(y, options->CurveCount), ArrayOf(bins), *summary, *cps, *pps, *moments,
            *chi_square, *anova, *spec_limits, *spec_results, *ncc_limits, *ncc_results, *reserved,
            *options, reserved2);
      },
      info, filter, x, y, summary, cps, pps, moments, chi_square, anova, spec_limits, spec_results,
      ncc_limits, ncc_results, reserved, options);
}

Int WINAPI VLXCAP_JOHNSONCURVEFIT(Int reserved, double* x, double* y, ArrayObject bins,
                                  API_CASummary* summary, API_CAPPs* pps, API_CAChiSq* chi_square,
                                  API_CASpecLim8* spec_limits, API_CASpecResults* spec_results,
                                  const API_CAOptions* options) {
  return Answer(
      [&](Platform& engine) {
        return engine.CapAna().VLXCAP_JOHNSONCURVEFIT(
            reserved, Elements(x, options->CurveCount), Elements(y, options->CurveCount),
            ArrayOf(bins), *summary, *pps, *chi_square, *spec_limits, *spec_results, *options);
      },
      x, y, summary, pps, chi_square, spec_limits, spec_results, options);
}

// --- orwPareto6 ----------------------------------------------------------------------------------

Int WINAPI VLXPAR_PROC(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                       ArrayObject bins, API_PAOptions* options, Int* words) {
  return Pareto(&platform::Pareto6::VLXPAR_PROC, reserved, connection, info, filter, bins, options,
                words);
}

Int WINAPI VLXPAR_EVENT(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                        ArrayObject bins, API_PAOptions* options, Int* words) {
  return Pareto(&platform::Pareto6::VLXPAR_EVENT, reserved, connection, info, filter, bins, options,
                words);
}

Int WINAPI VLXPAR_STATE(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                        ArrayObject bins, API_PAOptions* options, Int* words) {
  return Pareto(&platform::Pareto6::VLXPAR_STATE, reserved, connection, info, filter, bins, options,
                words);
}

// --- orwSReqCompliance ---------------------------------------------------------------------------

Int WINAPI VLXSREQ_SREQ_COMPLIANCE(Int reserved, Int connection, API_DSInfo* info, Int* filter) {
  return Answer(
      [&](Platform& engine) {
        return engine.Compliance().VLXSREQ_SREQ_COMPLIANCE(reserved, connection, *info,
                                                           FilterOf(*info, filter));
      },
      info, filter);
}

Int WINAPI VLXSREQ_SREQ_COMPLIANCE_GETDATA(API_SCRow* rows, Int count) {
  return Answer(
      [&](Platform& engine) {
        return engine.Compliance().VLXSREQ_SREQ_COMPLIANCE_GETDATA(Elements(rows, count), count);
      },
      rows);
}

Int WINAPI VLXSREQ_SREQ_COMPLIANCE_FREEDATA() {
  return Answer(
      [](Platform& engine) { return engine.Compliance().VLXSREQ_SREQ_COMPLIANCE_FREEDATA(); });
}

}  // extern "C"

}  // namespace orvspc::windows::native
