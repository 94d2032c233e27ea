// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <windows.h>
// Needs windows.h before it.
#include <oleauto.h>

#include <cstdint>

#include "platform/CapabilityRecords.h"
#include "platform/ChartRecords.h"
#include "platform/ComplianceRecords.h"
#include "platform/ParetoRecords.h"
#include "platform/RowRecords.h"
#include "platform/SelectionRecord.h"

// The exported functions of the closed libraries: the one table for the side that calls them and
// the side that exports them.
//
// - Names are exported without decoration; the calling convention is stdcall.
// - Numbers go by value, 32 bits wide; records, single numbers and the element 0 of plain arrays by
//   pointer.
// - An array whose length travels with it goes as a reference to the array object, SAFEARRAY**.
//   The elements are records without type information: their width is that of the descriptor.
// - No pointer is kept beyond the call.
namespace orvspc::windows::native {

// Names of the DLLs.
inline constexpr const char* kDBLib6 = "orwDBLib6.dll";
inline constexpr const char* kCtrlChrt6 = "orwCtrlChrt6.dll";
inline constexpr const char* kCapAna6 = "orwCapAna6.dll";
inline constexpr const char* kPareto6 = "orwPareto6.dll";
inline constexpr const char* kSReqCompliance = "orwSReqCompliance.dll";

// One exported function.
template <class Signature>
struct NativeFunction;

template <class Result, class... Arguments>
struct NativeFunction<Result WINAPI(Arguments...)> {
  using Pointer = Result(WINAPI*)(Arguments...);

  const char* library;
  const char* name;
};

using Int = std::int32_t;
using ArrayObject = SAFEARRAY**;

// clang-format off

// --- orwDBLib6 -----------------------------------------------------------------------------------

inline constexpr NativeFunction<Int WINAPI()>
    VLXDBL_CLEARDATASETDATA{kDBLib6, "VLXDBL_CLEARDATASETDATA"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, Int connection, API_DSInfo* info,
                                           Int* filter, Int content)>
    VLXDBL_BUILDDATASETDATA{kDBLib6, "VLXDBL_BUILDDATASETDATA"};

inline constexpr NativeFunction<Int WINAPI(ArrayObject rows, Int content)>
    VLXDBL_READDATA_SA{kDBLib6, "VLXDBL_READDATA_SA"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, Int connection, API_DSInfo* info,
                                           Int* filter, ArrayObject subgroups,
                                           ArrayObject descriptors, Int code)>
    VLXDBL_GETDESCDATA{kDBLib6, "VLXDBL_GETDESCDATA"};

inline constexpr NativeFunction<Int WINAPI(ArrayObject subgroups, Int code, Int* comment_filter,
                                           Int highest_index)>
    VLXDBL_DATATOFLTR_SA{kDBLib6, "VLXDBL_DATATOFLTR_SA"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, Int connection, Int* start_subgroup,
                                           Int subgroup_end, Int* comment_filter,
                                           ArrayObject comments, Int last)>
    VLXDBL_FINDSGRPCMNT{kDBLib6, "VLXDBL_FINDSGRPCMNT"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, Int connection, API_DSInfo* info,
                                           Int* filter, Int chart_word, Int graph_count,
                                           Int* alarm_mask)>
    VLXDBL_GETALARMMASK{kDBLib6, "VLXDBL_GETALARMMASK"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, Int connection, API_DSInfo* info,
                                           Int* filter, Int* events, Int last)>
    VLXDBL_BUILDEVENTDATA{kDBLib6, "VLXDBL_BUILDEVENTDATA"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, Int connection, Int* events,
                                           ArrayObject rows, Int count, Int code)>
    VLXDBL_GETEVENTS{kDBLib6, "VLXDBL_GETEVENTS"};

// --- orwCtrlChrt6 --------------------------------------------------------------------------------

inline constexpr NativeFunction<Int WINAPI(Int reserved, Int connection, API_DSInfo* info,
                                           Int* filter, API_CCVarOptions* options, Int last)>
    VLXCRT_VCHART_PROCESS_LT{kCtrlChrt6, "VLXCRT_VCHART_PROCESS_LT"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, ArrayObject destination, Int code,
                                           Int graph)>
    VLXCRT_VAR_DATA{kCtrlChrt6, "VLXCRT_VAR_DATA"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, double* mean, double* sp, double* sw,
                                           double* average_size1, double* average_size2,
                                           double* average_size3)>
    VLXCRT_VAR_LIMITS{kCtrlChrt6, "VLXCRT_VAR_LIMITS"};

inline constexpr NativeFunction<Int WINAPI()>
    VLXCRT_VAR_END{kCtrlChrt6, "VLXCRT_VAR_END"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, Int connection, API_DSInfo* info,
                                           Int* filter, Int chart_word, Int processing_word,
                                           double ewma, double* aql_value,
                                           double* aql_producer_risk, Int last)>
    VLXCRT_ATTR_PROCESS_LT{kCtrlChrt6, "VLXCRT_ATTR_PROCESS_LT"};

inline constexpr NativeFunction<Int WINAPI(Int reserved, ArrayObject destination, Int code,
                                           Int graph)>
    VLXCRT_ATTR_DATA{kCtrlChrt6, "VLXCRT_ATTR_DATA"};

inline constexpr NativeFunction<Int WINAPI()>
    VLXCRT_ATTR_END{kCtrlChrt6, "VLXCRT_ATTR_END"};

// --- orwCapAna6 ----------------------------------------------------------------------------------

// The bins are the one array that the callee may resize.
inline constexpr NativeFunction<Int WINAPI(
    Int reserved1, Int connection, API_DSInfo* info, Int* filter, double* x, double* y,
    ArrayObject bins, API_CASummary* summary, API_CACPs* cps, API_CAPPs* pps,
    API_CAMoments* moments, API_CAChiSq* chi_square, API_CAAnova* anova,
    API_CASpecLim8* spec_limits, API_CASpecResults* spec_results, API_CANccLim8* ncc_limits,
    API_CANccResults* ncc_results, API_CAReserved* reserved, const API_CAOptions* options,
    Int reserved2)>
    VLXCAP_PROCESSING_LT{kCapAna6, "VLXCAP_PROCESSING_LT"};

inline constexpr NativeFunction<Int WINAPI(
    Int reserved, double* x, double* y, ArrayObject bins, API_CASummary* summary, API_CAPPs* pps,
    API_CAChiSq* chi_square, API_CASpecLim8* spec_limits, API_CASpecResults* spec_results,
    const API_CAOptions* options)>
    VLXCAP_JOHNSONCURVEFIT{kCapAna6, "VLXCAP_JOHNSONCURVEFIT"};

// --- orwPareto6 ----------------------------------------------------------------------------------

// The last argument is the first of six words.
using ParetoSignature = Int WINAPI(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                                   ArrayObject bins, API_PAOptions* options, Int* words);

inline constexpr NativeFunction<ParetoSignature> VLXPAR_PROC{kPareto6, "VLXPAR_PROC"};
inline constexpr NativeFunction<ParetoSignature> VLXPAR_EVENT{kPareto6, "VLXPAR_EVENT"};
inline constexpr NativeFunction<ParetoSignature> VLXPAR_STATE{kPareto6, "VLXPAR_STATE"};

// --- orwSReqCompliance ---------------------------------------------------------------------------

inline constexpr NativeFunction<Int WINAPI(Int reserved, Int connection, API_DSInfo* info,
                                           Int* filter)>
    VLXSREQ_SREQ_COMPLIANCE{kSReqCompliance, "VLXSREQ_SREQ_COMPLIANCE"};

inline constexpr NativeFunction<Int WINAPI(API_SCRow* rows, Int count)>
    VLXSREQ_SREQ_COMPLIANCE_GETDATA{kSReqCompliance, "VLXSREQ_SREQ_COMPLIANCE_GETDATA"};

inline constexpr NativeFunction<Int WINAPI()>
    VLXSREQ_SREQ_COMPLIANCE_FREEDATA{kSReqCompliance, "VLXSREQ_SREQ_COMPLIANCE_FREEDATA"};

// clang-format on

}  // namespace orvspc::windows::native
