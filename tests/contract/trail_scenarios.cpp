// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/trail_scenarios.h"

#include <iterator>
#include <utility>

#include "capability/CAAnalysis.h"
#include "chart/CCAnalysis.h"
#include "chart/chart_codes.h"
#include "frame/Friend.h"
#include "frame/XMLSupport.h"
#include "pareto/PAAnalysis.h"
#include "select/DataSelect.h"
#include "summary/PSAnalysis.h"
#include "summary/SCAnalysis.h"
#include "tests/capability/statistics_rows.h"

namespace orvspc::contract {
namespace {

using platform::ChartData;

// Two subgroups of two values, a descriptor and a comment.
void FillRows(fake::FakeScope& fake) {
  fake::FillRows(fake.script(), 2, 2);
  API_DescriptorData descriptor{};
  descriptor.Sgrp = 1;
  fake.script().descriptors = {descriptor};
  API_CommentData comment{};
  comment.Sgrp = 1;
  fake.script().comments = {comment};
}

void FillSelection(DataSelect& select) {
  select.MaximumItems(5);
  select.Tsno(1);
  select.DateRangeInterval(2);
  auto& descriptors = *select.Descriptors();
  descriptors.Add(dtPart)->AddItemID(7);
  descriptors.Add(dtOther)->AddItemID(9);
}

void Selection(fake::FakeScope&) {
  DataSelect select;
  FillSelection(select);
  const auto clone = select.Clone();
  const std::string text = clone->GetXML();
  clone->SetXML(text);
  clone->Reset();
  API_DSInfo info = {};
  Array<std::int32_t> filter;
  select.API_GetData(info, filter);
  select.API_SetData(info, filter);
}

void Descriptors(fake::FakeScope&) {
  DataSelectDescriptors descriptors;
  const auto part = descriptors.Add(dtPart);
  part->ItemIDs(std::vector<std::int32_t>{1, 2});
  part->ItemID(1);
  part->Clear();
  descriptors.Item(0);
  descriptors.GetDescriptor(dtPart);
  descriptors.Count();
  descriptors.Remove(0);
  descriptors.Clear();
}

void Retrieval(fake::FakeScope& fake) {
  FillRows(fake);
  DataSelect select;
  FillSelection(select);
  select.GetSubgroupData(fake.database);
}

std::shared_ptr<SubgroupData> Retrieved(fake::FakeScope& fake) {
  FillRows(fake);
  return DataSelect().GetSubgroupData(fake.database);
}

void SubgroupFields(fake::FakeScope& fake) {
  const auto data = Retrieved(fake);
  for (const auto get :
       {&SubgroupData::Sgrp, &SubgroupData::Part, &SubgroupData::Prcs, &SubgroupData::Test,
        &SubgroupData::Job, &SubgroupData::Lot, &SubgroupData::Shft, &SubgroupData::Ptrv,
        &SubgroupData::Wkst, &SubgroupData::Size, &SubgroupData::Empl, &SubgroupData::TotalGroups,
        &SubgroupData::GroupIndex, &SubgroupData::GroupID})
    (*data.*get)();
  data->Sgtm();
  data->Flag();
  for (const auto has :
       {&SubgroupData::HasNotEnabled, &SubgroupData::HasJobs, &SubgroupData::HasLots,
        &SubgroupData::HasShifts, &SubgroupData::HasPartRevisions, &SubgroupData::HasWorkstations,
        &SubgroupData::HasEmployees, &SubgroupData::HasSNs})
    (*data.*has)();
  data->GetDescriptorGroupIDs();
  data->HasDefects();
  data->GetTestIDs();
}

template <class Rows>
void Walk(Rows& rows) {
  rows.MoveFirst();
  rows.MoveNext();
  rows.MovePrev();
  rows.MoveLast();
}

void Slices(fake::FakeScope& fake) {
  const auto data = Retrieved(fake);
  Walk(*data);
  data->MoveTo(1);
  const auto tests = data->TestData();
  for (const auto get :
       {&TestData::Def, &TestData::Gage, &TestData::Sbno, &TestData::Sn, &TestData::Tsno})
    (*tests.*get)();
  tests->Val();
  Walk(*tests);
  const auto descriptors = data->DescriptorData();
  descriptors->Dsgp();
  descriptors->Desc();
  descriptors->Tsno();
  Walk(*descriptors);
  const auto comments = data->CommentData();
  comments->Empl();
  comments->Note();
  comments->Test();
  comments->Edtm();
  comments->Tsno();
  Walk(*comments);
}

void SubgroupXml(fake::FakeScope& fake) {
  const std::string text = Retrieved(fake)->GetXML();
  SubgroupData().SetXML(text);
}

void NumberArrays(fake::FakeScope&) {
  Array<std::int32_t> integers;
  XMLSupport::ConvertStringToLongArray("1 2", integers);
  XMLSupport::ConvertLongArrayToString(integers);
  Array<double> doubles;
  XMLSupport::ConvertStringToDoubleArray("1 2", doubles);
  XMLSupport::ConvertDoubleArrayToString(doubles);
}

void ChartSettings(fake::FakeScope&) {
  CCProcessing processing;
  processing.FixProcessing();
  processing.FixEWMA();
  processing.FixIndividual();
  processing.FixCUSUM();
  processing.FixEconomic();
  processing.IsVariable();
  processing.IsAttribute();
  processing.AllowEWMA();
  processing.AllowIndividual();
  processing.AllowCUSUM();
  processing.AllowEconomic();
  processing.AllowGroupBy(Friend{});
  processing.GraphCount();
  chart_codes::GetAPIProcessing(processing);
  const std::string text = processing.GetXML();
  processing.SetXML(text);
}

constexpr std::int32_t kVariableWord = 0x110, kAttributeWord = 0xC00;

// A chart with one row of every limit table and a marked first point.
void FillChart(fake::FakeScope& fake, std::int32_t chart_word) {
  FillRows(fake);
  auto& script = fake.script();
  script.chart_word = chart_word;
  script.spec_lims = {API_CCSpecLim{}};
  script.ctrl_lims = {API_CCCtrlLim{}};
  // The variable road knows no opportunities.
  if (chart_word == kAttributeWord) script.def_opps = {API_CCDefOpp{}};
  script.alarm_mask = {1, 1, 1};
  for (std::int32_t graph = 1; graph <= 3; ++graph)
    for (const auto code : {ChartData::cOOCs, ChartData::OOCs})
      script.integers[{code, graph}] = {1, 0};
  script.rules = {{0, "beyond the limits"}};
}

std::shared_ptr<CCResults> Chart(fake::FakeScope& fake, ccGraph1Types type,
                                 std::int32_t chart_word) {
  FillChart(fake, chart_word);
  const auto processing = std::make_shared<CCProcessing>();
  processing->Graph1Type(type);
  processing->GroupBy(ccGroupByPart);
  const auto select = std::make_shared<DataSelect>();
  select->Descriptors()->Add(dtPart)->AddItemID(1);
  return CCAnalysis().AnalyzeDataSelect(fake.database, select, processing);
}

void VariableChart(fake::FakeScope& fake) { Chart(fake, ccGraph1XBar, kVariableWord); }
void AttributeChart(fake::FakeScope& fake) { Chart(fake, ccGraph1P, kAttributeWord)->DefOpp(); }

void ChartResult(fake::FakeScope& fake) {
  const auto results = Chart(fake, ccGraph1XBar, kVariableWord);
  results->CtrlLim();
  results->SpecLim();
  results->GraphCount();
  results->MeanEstimate();
  results->TotalSubgroups();
  results->TotalGroups();
  results->SubgroupData();
  Chart(fake, ccGraph1XBar, kVariableWord)->TotalGroups();
}

// A text with rows that come back, since those of a written one do not.
void ChartXml(fake::FakeScope& fake) {
  Chart(fake, ccGraph1XBar, kVariableWord)->GetXML();
  std::string text = Chart(fake, ccGraph1P, kAttributeWord)->GetXML();
  for (const std::string container :
       {"SpecificationLimits", "ControlLimits", "DefectOpportunities"})
    text.insert(text.find("</" + container + ">"), "<" + container + "/>");
  CCResults().SetXML(text);
  const auto document = XMLSupport::MakeXMLDocument();
  document->LoadXml(text);
  CCResults().SetXMLNode(document->SelectRoot("CCResults"));
}

void ChartPoints(fake::FakeScope& fake) {
  const auto results = Chart(fake, ccGraph1XBar, kVariableWord);
  const auto data = results->Graphs(ccGraphType1)->GraphData();
  for (const auto get : {&CCGraphData::AFlag, &CCGraphData::EFlag, &CCGraphData::cOOC,
                         &CCGraphData::OOC, &CCGraphData::Size})
    (*data.*get)();
  data->OOS();
  for (const auto get :
       {&CCGraphData::cCL, &CCGraphData::CL, &CCGraphData::cLCL, &CCGraphData::cUCL,
        &CCGraphData::LCL, &CCGraphData::LSL, &CCGraphData::Point, &CCGraphData::Target,
        &CCGraphData::UCL, &CCGraphData::USL, &CCGraphData::Overlay})
    (*data.*get)();
  for (const auto get : {&CCGraphData::GetAFlags, &CCGraphData::GetEFlags, &CCGraphData::GetOOSs,
                         &CCGraphData::GetcOOCs, &CCGraphData::GetOOCs, &CCGraphData::GetSizes})
    (*data.*get)();
  for (const auto get : {&CCGraphData::GetcCLs, &CCGraphData::GetCLs, &CCGraphData::GetcLCLs,
                         &CCGraphData::GetcUCLs, &CCGraphData::GetLCLs, &CCGraphData::GetLSLs,
                         &CCGraphData::GetTargets, &CCGraphData::GetUCLs, &CCGraphData::GetUSLs,
                         &CCGraphData::GetOverlays, &CCGraphData::GetPoints})
    (*data.*get)();
  data->HasControlLimits();
  data->HasSpecificationLimits();
  data->HasOverlays();
  data->OOCText();
  data->OOCRuleDef();
  data->cOOCRuleDef();
  data->cOOCText();
  data->MoveTo(1);
  Walk(*data);
}

void CapabilityStatistics(fake::FakeScope&) {
  CAStatistics statistics{Friend{}};
  statistics.Load(Friend{}, API_CAStatistics{});
  const auto document = XMLSupport::MakeXMLDocument();
  const auto element = statistics.CreateXMLNode(Friend{}, *document);
  statistics.SetXMLNode(Friend{}, element);
}

void CapabilitySettings(fake::FakeScope&) {
  CAProcessing processing;
  processing.FixProcessing();
  const std::string text = processing.GetXML();
  processing.SetXML(text);
}

// With a Johnson fit.
std::shared_ptr<CAResults> Capability(fake::FakeScope& fake) {
  fake.script().capability = [](fake::CapabilityCall&) { return 1; };
  fake.script().johnson = [](fake::CapabilityCall&) { return 1; };
  const auto processing = std::make_shared<CAProcessing>();
  processing->BinCount(5);
  processing->CurveCount(2);
  processing->FitType(caFitJohnson);
  return CAAnalysis().AnalyzeDataSelect(fake.database, std::make_shared<DataSelect>(), processing);
}

void CapabilityXml(fake::FakeScope& fake) {
  const std::string text = Capability(fake)->GetXML();
  CAResults().SetXML(text);
}

void CapabilityRows(fake::FakeScope& fake) {
  const auto results = Capability(fake);
  const auto bins = results->Bins();
  bins->MoveTo(2);
  Walk(*bins);
  const auto curve = results->Curve();
  curve->MoveTo(2);
  Walk(*curve);
}

std::shared_ptr<EventData> Events(fake::FakeScope& fake) {
  fake.script().events = {API_EventData{}, API_EventData{}};
  return DataSelect().GetEventData(fake.database);
}

void EventFields(fake::FakeScope& fake) {
  const auto events = Events(fake);
  for (const auto get : {&EventData::CurrentIndex, &EventData::ACC, &EventData::ACCEmployee,
                         &EventData::CAC, &EventData::CACEmployee, &EventData::Empl,
                         &EventData::Evnt, &EventData::Part, &EventData::Prcs, &EventData::Test})
    (*events.*get)();
  for (const auto get :
       {&EventData::ACCTime, &EventData::CACTime, &EventData::EventTime, &EventData::Sgtm})
    (*events.*get)();
  events->Flag();
  events->Name();
  events->EventType();
  for (const auto has : {&EventData::HasOpenEvents, &EventData::HasEmployees, &EventData::HasACCs,
                         &EventData::HasCACs})
    (*events.*has)();
  events->MoveTo(1);
  Walk(*events);
}

void EventXml(fake::FakeScope& fake) {
  const std::string text = Events(fake)->GetXML();
  EventData().SetXML(text);
}

// Without a process, since what fails in reading its identifier is ignored.
void ProcessStates(fake::FakeScope& fake) {
  FillRows(fake);
  fake.script().events = {API_EventData{}};
  fake.script().state_log = {{-100.0, 0, 1, 0, "idle"}, {0.0, 0, 2, 0, "runs"}};
  const auto processing = std::make_shared<PSProcessing>();
  processing->Clone();
  PSAnalysis().AnalyzeDataSelect(fake.database, std::make_shared<DataSelect>(), processing);
}

std::shared_ptr<SCResults> Compliance(fake::FakeScope& fake) {
  API_SCRow row{};
  row.TestID = 3;
  fake.script().compliance_rows = {row, row};
  fake.script().names = {{{platform::NameRecordKind::Test, 3}, "Bore"}};
  return SCAnalysis().AnalyzeDataSelect(fake.database, std::make_shared<DataSelect>());
}

void ComplianceRows(fake::FakeScope& fake) {
  const auto results = Compliance(fake);
  results->CurrentIndex();
  results->MoveTo(2);
  Walk(*results);
}

// Two bins of whatever is asked for.
std::shared_ptr<PAResults> Pareto(fake::FakeScope& fake) {
  fake.script().pareto = [](std::span<API_PABin>, API_PAOptions& options) {
    options.BinCount = 2;
    return 1;
  };
  const auto select = std::make_shared<DataSelect>();
  select->Descriptors()->Add(dtPart)->AddItemID(7);
  return PAAnalysis().AnalyzeDataSelect(fake.database, select, std::make_shared<PAProcessing>());
}

void ParetoSettings(fake::FakeScope&) {
  PAProcessing processing;
  processing.FixProcessing();
  const std::string text = processing.GetXML();
  processing.SetXML(text);
  processing.SetXML("<PAProcessing><intLevel Index=\"1\"/></PAProcessing>");
}

void ParetoResult(fake::FakeScope& fake) {
  const auto bins = Pareto(fake)->Bins();
  bins->MoveTo(1);
  Walk(*bins);
  const std::string text = bins->GetXML();
  bins->SetXML(text);
}

// A text whose bins come back and which holds subgroups, since those of a written one do not.
void ParetoXml(fake::FakeScope& fake) {
  std::string text = Pareto(fake)->GetXML();
  text.insert(text.find("</PAResults>"), Retrieved(fake)->GetXML() + "<Bins><PABin/></Bins>");
  PAResults results;
  results.SetXML(text);
  results.GetXML();
}

}  // namespace

const Scenario kScenarios[] = {
    {"selection", &Selection},
    {"descriptors", &Descriptors},
    {"retrieval", &Retrieval},
    {"fields of subgroups", &SubgroupFields},
    {"slices", &Slices},
    {"XML of subgroups", &SubgroupXml},
    {"number arrays", &NumberArrays},
    {"chart settings", &ChartSettings},
    {"variable chart", &VariableChart},
    {"attribute chart", &AttributeChart},
    {"chart result", &ChartResult},
    {"chart points", &ChartPoints},
    {"XML of a chart", &ChartXml},
    {"capability statistics", &CapabilityStatistics},
    {"capability settings", &CapabilitySettings},
    {"XML of a capability result", &CapabilityXml},
    {"bins and curve", &CapabilityRows},
    {"fields of events", &EventFields},
    {"XML of events", &EventXml},
    {"process states", &ProcessStates},
    {"sampling compliance", &ComplianceRows},
    {"Pareto settings", &ParetoSettings},
    {"Pareto result", &ParetoResult},
    {"XML of a Pareto", &ParetoXml},
};
const int kScenarioCount = static_cast<int>(std::size(kScenarios));

void RunOperationsWithoutHandler(fake::FakeScope& fake, void (*from_here)()) {
  DataSelect select;
  DataSelectDescriptor descriptor;
  const auto data = Retrieved(fake);
  const auto tests = data->TestData();
  const auto comments = data->CommentData();
  const auto descriptors = data->DescriptorData();
  const auto results = Chart(fake, ccGraph1XBar, kVariableWord);
  const auto graph = results->Graphs(ccGraphType1);
  const auto points = graph->GraphData();
  CCProcessing& processing = *results->Processing();
  const auto pareto = Pareto(fake);
  const auto pareto_bins = pareto->Bins();
  PAProcessing& pareto_settings = *pareto->Processing();
  const auto events = Events(fake);
  const auto states = PSAnalysis().AnalyzeDataSelect(fake.database, std::make_shared<DataSelect>(),
                                                     std::make_shared<PSProcessing>());
  const auto compliance = Compliance(fake);

  CAStatistics statistics{Friend{}};
  API_CAStatistics with_limits;
  with_limits.SpecLim.EFlag = -1;  // so that the ratio to the target is computed
  statistics.Load(Friend{}, with_limits);
  const auto capability = Capability(fake);
  CAProcessing& settings = *capability->Processing();
  from_here();
  select.Descriptors();
  select.MaximumItems();
  select.Tsno();
  select.IncludeEnabled(select.IncludeEnabled());
  select.IncludeIncomplete(select.IncludeIncomplete());
  select.IncludeDisabled(select.IncludeDisabled());
  select.IncludeVariableTests(select.IncludeVariableTests());
  select.IncludeDefectTests(select.IncludeDefectTests());
  select.IncludeDefectiveTests(select.IncludeDefectiveTests());
  select.DateRangeTimeType(select.DateRangeTimeType());
  select.DateRangeInterval();
  select.DateRangePeriod(select.DateRangePeriod());
  select.DateRangeStart(select.DateRangeStart());
  select.DateRangeEnd(select.DateRangeEnd());
  descriptor.DescriptorType();
  descriptor.FilterType(descriptor.FilterType());
  descriptor.GroupID(descriptor.GroupID());
  descriptor.ItemCount();
  descriptor.ItemIDs();
  for (const auto& each : *select.Descriptors()) static_cast<void>(each);
  data->TotalSubgroups();
  data->TotalTests();
  data->TotalDescriptors();
  data->CurrentIndex();
  tests->Count();
  tests->CurrentIndex();
  comments->Count();
  comments->CurrentIndex();
  descriptors->Count();
  descriptors->CurrentIndex();
  results->Processing();
  results->DataSelect();
  results->RuleDef();
  results->SPEstimate();
  results->SWEstimate();
  graph->AverageSize();
  points->Count();
  points->CurrentIndex();
  processing.Graph1Type(processing.Graph1Type());
  processing.GroupBy(processing.GroupBy());
  processing.AQLValue(processing.AQLValue());
  processing.AQLProducerRisk(processing.AQLProducerRisk());
  processing.EWMAWeight(processing.EWMAWeight());
  pareto->Processing();
  pareto->DataSelect();
  pareto_bins->Count();
  pareto_bins->CurrentIndex();
  pareto_bins->Value();
  pareto_bins->Name();
  pareto_bins->ID(0);
  pareto_bins->Percentage(0);
  pareto_settings.StartTime(pareto_settings.StartTime());
  pareto_settings.TimePeriod(pareto_settings.TimePeriod());
  pareto_settings.BinType(0, pareto_settings.BinType(0));
  pareto_settings.BinTypeID(0, pareto_settings.BinTypeID(0));
  events->Count();
  states->Processing();
  states->DataSelect();
  states->SubgroupData();
  states->EventData();
  states->PrcsStateLog();
  compliance->DataSelect();
  compliance->ResultType();
  compliance->Count();
  for (const auto get : {&SCResults::Part, &SCResults::Process, &SCResults::Test, &SCResults::State,
                         &SCResults::SmplReq})
    (*compliance.*get)();
  compliance->StateType();
  for (const auto get : {&SCResults::SamplesCollected, &SCResults::SamplesMissed,
                         &SCResults::SamplesExpected, &SCResults::TestCount})
    (*compliance.*get)();
  for (const auto get :
       {&SCResults::StartTime, &SCResults::Duration, &SCResults::PercentComplete,
        &SCResults::MinimumValue, &SCResults::PPK, &SCResults::PPM, &SCResults::PercentAboveT2U})
    (*compliance.*get)();
  capability->DataSelect();
  capability->Statistics();
  const auto histogram = capability->Bins();
  histogram->Count();
  histogram->CurrentIndex();
  for (const auto get : {&CABins::XMin, &CABins::XMax, &CABins::YMin, &CABins::YMax})
    (*histogram.*get)();
  const auto curve = capability->Curve();
  curve->Count();
  curve->CurrentIndex();
  curve->X();
  curve->Y();
  settings.SetSettings(Friend{}, {});
  settings.AllowOverride(settings.AllowOverride());
  settings.BinCount(settings.BinCount());
  settings.FitType(settings.FitType());
  settings.Normalize(settings.Normalize());
  settings.OverrideLSL(settings.OverrideLSL());
  settings.OverrideTarget(settings.OverrideTarget());
  settings.OverrideUSL(settings.OverrideUSL());
  settings.CurveCount(settings.CurveCount());
  settings.ShortTermSigmaType(settings.ShortTermSigmaType());
  settings.WindowMaximum(settings.WindowMaximum());
  settings.WindowMinimum(settings.WindowMinimum());
  settings.WindowSD(settings.WindowSD());
  settings.WindowType(settings.WindowType());
  statistics.JohnsonCurveType();
  for (const auto& row : statistics_rows::kRows) {
    double figure = 0.0;
    row.get(statistics, figure);
  }
  for (const auto has :
       {&CAStatistics::HasSpecUrl,  &CAStatistics::HasSpecUsl, &CAStatistics::HasSpecUwl,
        &CAStatistics::HasSpecTar,  &CAStatistics::HasSpecLwl, &CAStatistics::HasSpecLsl,
        &CAStatistics::HasSpecLrl,  &CAStatistics::HasNccLsc,  &CAStatistics::HasNccMavU,
        &CAStatistics::HasNccMavUp, &CAStatistics::HasNccMavL, &CAStatistics::HasNccMavLp,
        &CAStatistics::HasNccT1U,   &CAStatistics::HasNccT1Up, &CAStatistics::HasNccT1L,
        &CAStatistics::HasNccT1Lp,  &CAStatistics::HasNccT2U,  &CAStatistics::HasNccT2Up,
        &CAStatistics::HasNccT2L,   &CAStatistics::HasNccT2Lp})
    (statistics.*has)(Friend{});
}

}  // namespace orvspc::contract
