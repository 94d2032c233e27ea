// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "host/windows/com/automation.h"
#include "platform/CapabilityRecords.h"
#include "platform/ChartRecords.h"
#include "platform/ComplianceRecords.h"
#include "platform/ParetoRecords.h"
#include "platform/RowRecords.h"
#include "platform/SelectionRecord.h"

// The exported functions of the closed libraries, for the side that exports them and the side that
// calls them by the type of the declaration.
//
// - Names are exported without decoration; the calling convention is stdcall.
// - Numbers go by value, 32 bits wide; records, single numbers and the element 0 of plain arrays by
//   pointer.
// - An array whose length travels with it goes as a reference to the array object, SAFEARRAY**.
//   The elements are records without type information: their width is that of the descriptor.
// - No pointer is kept beyond the call.
namespace orvspc::windows::native {

using Int = std::int32_t;
using ArrayObject = SAFEARRAY**;

extern "C" {

// --- orwDBLib6 -----------------------------------------------------------------------------------

Int WINAPI VLXDBL_CLEARDATASETDATA();

Int WINAPI VLXDBL_BUILDDATASETDATA(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                                   Int content);

Int WINAPI VLXDBL_READDATA_SA(ArrayObject rows, Int content);

Int WINAPI VLXDBL_GETDESCDATA(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                              ArrayObject subgroups, ArrayObject descriptors, Int code);

Int WINAPI VLXDBL_DATATOFLTR_SA(ArrayObject subgroups, Int code, Int* comment_filter,
                                Int highest_index);

Int WINAPI VLXDBL_FINDSGRPCMNT(Int reserved, Int connection, Int* start_subgroup, Int subgroup_end,
                               Int* comment_filter, ArrayObject comments, Int last);

Int WINAPI VLXDBL_GETALARMMASK(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                               Int chart_word, Int graph_count, Int* alarm_mask);

Int WINAPI VLXDBL_BUILDEVENTDATA(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                                 Int* events, Int last);

Int WINAPI VLXDBL_GETEVENTS(Int reserved, Int connection, Int* events, ArrayObject rows, Int count,
                            Int code);

// --- orwCtrlChrt6 --------------------------------------------------------------------------------

Int WINAPI VLXCRT_VCHART_PROCESS_LT(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                                    API_CCVarOptions* options, Int last);

Int WINAPI VLXCRT_VAR_DATA(Int reserved, ArrayObject destination, Int code, Int graph);

Int WINAPI VLXCRT_VAR_LIMITS(Int reserved, double* mean, double* sp, double* sw,
                             double* average_size1, double* average_size2, double* average_size3);

Int WINAPI VLXCRT_VAR_END();

Int WINAPI VLXCRT_ATTR_PROCESS_LT(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                                  Int chart_word, Int processing_word, double ewma,
                                  double* aql_value, double* aql_producer_risk, Int last);

Int WINAPI VLXCRT_ATTR_DATA(Int reserved, ArrayObject destination, Int code, Int graph);

Int WINAPI VLXCRT_ATTR_END();

// --- orwCapAna6 ----------------------------------------------------------------------------------

// The bins are the one array that the callee may resize.
Int WINAPI VLXCAP_PROCESSING_LT(Int reserved1, Int connection, API_DSInfo* info, Int* filter,
                                double* x, double* y, ArrayObject bins, API_CASummary* summary,
                                API_CACPs* cps, API_CAPPs* pps, API_CAMoments* moments,
                                API_CAChiSq* chi_square, API_CAAnova* anova,
                                API_CASpecLim8* spec_limits, API_CASpecResults* spec_results,
                                API_CANccLim8* ncc_limits, API_CANccResults* ncc_results,
                                API_CAReserved* reserved, const API_CAOptions* options,
                                Int reserved2);

Int WINAPI VLXCAP_JOHNSONCURVEFIT(Int reserved, double* x, double* y, ArrayObject bins,
                                  API_CASummary* summary, API_CAPPs* pps, API_CAChiSq* chi_square,
                                  API_CASpecLim8* spec_limits, API_CASpecResults* spec_results,
                                  const API_CAOptions* options);

// --- orwPareto6 ----------------------------------------------------------------------------------

// The last argument is the first of six words.
Int WINAPI VLXPAR_PROC(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                       ArrayObject bins, API_PAOptions* options, Int* words);
Int WINAPI VLXPAR_EVENT(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                        ArrayObject bins, API_PAOptions* options, Int* words);
Int WINAPI VLXPAR_STATE(Int reserved, Int connection, API_DSInfo* info, Int* filter,
                        ArrayObject bins, API_PAOptions* options, Int* words);

// --- orwSReqCompliance ---------------------------------------------------------------------------

Int WINAPI VLXSREQ_SREQ_COMPLIANCE(Int reserved, Int connection, API_DSInfo* info, Int* filter);

Int WINAPI VLXSREQ_SREQ_COMPLIANCE_GETDATA(API_SCRow* rows, Int count);

Int WINAPI VLXSREQ_SREQ_COMPLIANCE_FREEDATA();

}  // extern "C"

}  // namespace orvspc::windows::native
