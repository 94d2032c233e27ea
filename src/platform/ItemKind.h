// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orvspc {

// The kinds of named items that a quality database holds.
enum class ItemKind {
  Part,
  Process,
  Test,
  Revision,
  Workstation,
  Gage,
  Job,
  Lot,
  Shift,
  Employee,
  Defect,
  Serial,
  AccCode,
  CacCode,
  StateCode,
  EventName,
  Company,
  Division,
  Site,
  Department,
  Area,
  ProductionUnit,
  Requirement,
};
inline constexpr int kItemKinds = 23;

}  // namespace orvspc
