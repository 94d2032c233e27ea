// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/BinKinds.h"

#include <algorithm>

#include "platform/BinTypes.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::pareto {
namespace {

using Sg = API_SubgroupData;
using Row = store::RowKey;
using Ev = store::EventRow;
using St = StateEntry;

using Item = catalogue::ItemKind;

constexpr BinFields kSubgroup{&Sg::Sgrp};
constexpr BinFields kTime{&Sg::Sgtm, nullptr, &Ev::time, &St::time};
constexpr BinFields kPart{&Sg::Part, nullptr, &Ev::part};
constexpr BinFields kProcess{&Sg::Prcs, nullptr, &Ev::process, &St::process};
constexpr BinFields kTest{&Sg::Test, nullptr, &Ev::test};
constexpr BinFields kJob{&Sg::Job};
constexpr BinFields kEmployee{&Sg::Empl, nullptr, &Ev::employee};
constexpr BinFields kDefect{nullptr, &Row::Def};
constexpr BinFields kCac{nullptr, nullptr, &Ev::cac};
constexpr BinFields kAcc{nullptr, nullptr, &Ev::acc};
constexpr BinFields kEventName{nullptr, nullptr, &Ev::name};
constexpr BinFields kEventType{nullptr, nullptr, &Ev::type};
constexpr BinFields kState{nullptr, nullptr, nullptr, &St::state};
constexpr BinFields kStateType{nullptr, nullptr, nullptr, &St::type};

// One row for each type of category.
constexpr BinKind kKinds[] = {
    {"subgroup", paBinTypeSubgroup, Via::Field, Naming::Label, kSubgroup},
    {"time", paBinTypeTime, Via::Time, Naming::Time, kTime},
    {"part", paBinTypePart, Via::Field, Naming::Item, kPart, Item::Part},
    {"process", paBinTypeProcess, Via::Field, Naming::Item, kProcess, Item::Process},
    {"test", paBinTypeTest, Via::Field, Naming::Item, kTest, Item::Test},
    {"job", paBinTypeJob, Via::Field, Naming::Item, kJob, Item::Job},
    {"lot", paBinTypeLot, Via::Field, Naming::Item, {&Sg::Lot}, Item::Lot},
    {"shift", paBinTypeShift, Via::Field, Naming::Item, {&Sg::Shft}, Item::Shift},
    {"employee", paBinTypeEmployee, Via::Field, Naming::Item, kEmployee, Item::Employee},
    {"descriptor", paBinTypeSgDesc, Via::Descriptor, Naming::Descriptor, kSubgroup},
    {"piece", paBinTypeTSNO, Via::Field, Naming::Number, {nullptr, &Row::Tsno}},
    {"serial number", paBinTypeSN, Via::Field, Naming::Item, {nullptr, &Row::Sn}, Item::Serial},
    {"defect", paBinTypeDefect, Via::Field, Naming::Item, kDefect, Item::Defect},
    {"CAC code", paBinTypeCAC, Via::Field, Naming::Item, kCac, Item::CacCode},
    {"ACC code", paBinTypeACC, Via::Field, Naming::Item, kAcc, Item::AccCode},
    {"event", paBinTypeEvent, Via::Field, Naming::Item, kEventName, Item::EventName},
    {"gage", paBinTypeGage, Via::Field, Naming::Item, {nullptr, &Row::Gage}, Item::Gage},
    {"reading", paBinTypeSBNO, Via::Field, Naming::Number, {nullptr, &Row::Sbno}},
    {"part group", paBinTypePtgp, Via::Group, Naming::Group, kPart, Item::Part},
    {"process group", paBinTypePrgp, Via::Group, Naming::Group, kProcess, Item::Process},
    {"test group", paBinTypeTsgp, Via::Group, Naming::Group, kTest, Item::Test},
    {"descriptor group", paBinTypeDsgp, Via::DescriptorGroup, Naming::DescriptorGroup, kSubgroup},
    {"state", paBinTypeStateCode, Via::Field, Naming::Item, kState, Item::StateCode},
    {"state type", paBinTypeStateType, Via::Field, Naming::State, kStateType},
    {"company", paBinTypeCo, Via::Place, Naming::Item, kProcess, Item::Company},
    {"division", paBinTypeDiv, Via::Place, Naming::Item, kProcess, Item::Division},
    {"site", paBinTypeSite, Via::Place, Naming::Item, kProcess, Item::Site},
    {"department", paBinTypeDept, Via::Place, Naming::Item, kProcess, Item::Department},
    {"area", paBinTypeArea, Via::Place, Naming::Item, kProcess, Item::Area},
    {"production unit", paBinTypePrut, Via::Place, Naming::Item, kProcess, Item::ProductionUnit},
    {"defect group", paBinTypeDfgp, Via::Group, Naming::Group, kDefect, Item::Defect},
    {"CAC group", paBinTypeCagp, Via::Group, Naming::Group, kCac, Item::CacCode},
    {"ACC group", paBinTypeAcgp, Via::Group, Naming::Group, kAcc, Item::AccCode},
    {"job group", paBinTypeJbgp, Via::Group, Naming::Group, kJob, Item::Job},
    {"event type", paBinTypeEventType, Via::Field, Naming::Event, kEventType},
    {"phase", kBinTypePhase, Via::Phase, Naming::Phase, kTime},
};

}  // namespace

const BinKind* FindBinKind(std::int32_t type) {
  const auto* const found = std::ranges::find(kKinds, type, &BinKind::type);
  return found == std::end(kKinds) ? nullptr : found;
}

}  // namespace orvspc::engine::pareto
