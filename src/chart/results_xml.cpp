// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "chart/CCResults.h"
#include "frame/Friend.h"
#include "frame/NumberText.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

using platform::WireDouble;
using platform::XmlDocument;
using platform::XmlNode;

constexpr std::string_view kElement = "CCResults";
constexpr std::int32_t kGraphs = 3;

// The arrays of a graph; the order of the attributes.
struct GraphArray {
  std::string_view attribute;
  std::variant<Array<std::int32_t> API_CCGraph::*, Array<double> API_CCGraph::*> field;
};
constexpr GraphArray kGraphArrays[] = {
    {"SGSizes", &API_CCGraph::SGSizes},   {"Points", &API_CCGraph::Points},
    {"Overlays", &API_CCGraph::Overlays}, {"cOOCs", &API_CCGraph::cOOCs},
    {"OOCs", &API_CCGraph::OOCs},         {"OOSs", &API_CCGraph::OOSs},
    {"USLs", &API_CCGraph::USLs},         {"Targets", &API_CCGraph::Targets},
    {"LSLs", &API_CCGraph::LSLs},         {"cUCLs", &API_CCGraph::cUCLs},
    {"cCLs", &API_CCGraph::cCLs},         {"cLCLs", &API_CCGraph::cLCLs},
    {"UCLs", &API_CCGraph::UCLs},         {"Cls", &API_CCGraph::Cls},
    {"LCLs", &API_CCGraph::LCLs},         {"AFlags", &API_CCGraph::AFlags},
    {"EFlags", &API_CCGraph::EFlags},
};

struct GroupArray {
  std::string_view attribute;
  Array<std::int32_t> API_CCResults::*field;
};
constexpr GroupArray kGroupArrays[] = {
    {"GroupIDs", &API_CCResults::GroupIDs},
    {"GroupIndex", &API_CCResults::GroupIndex},
    {"GroupStart", &API_CCResults::GroupStart},
    {"GroupEnd", &API_CCResults::GroupEnd},
};

struct Statistic {
  std::string_view attribute;
  double API_CCResults::*field;
};
constexpr Statistic kStatistics[] = {
    {"MeanEstimate", &API_CCResults::MeanEstimate},
    {"SPEstimate", &API_CCResults::SPEstimate},
    {"SWEstimate", &API_CCResults::SWEstimate},
};

// One attribute of a limit row with the default of a missing one; the order of a table is that of
// the attributes.
template <class Row>
struct Column {
  std::string_view attribute;
  std::variant<std::int32_t Row::*, WireDouble Row::*> field;
  std::int32_t missing = 0;
};

// What an array of limit rows is in the record and in the text.
template <class Row>
struct Table;

using Spec = API_CCSpecLim;
template <>
struct Table<Spec> {
  static constexpr std::string_view kContainer = "SpecificationLimits", kRow = "SpecLim";
  static constexpr std::string_view kCreate = "CCResults.CreateSpecificationLimitXMLNode",
                                    kCreateRow = "CCResults.CreateSpecLimXMLNode",
                                    kSet = "CCResults.SetSpecDataXMLNode";
  static constexpr auto kRows = &API_CCResults::SpecLims;
  static constexpr auto kCount = &API_CCTotals::SpecLimCount;
  // Deliberate: the rows are read from their container, which the writer leaves bare.
  static constexpr bool kReadsContainer = true;
  static constexpr Column<Spec> kColumns[] = {
      {"F_PART", &Spec::F_PART},
      {"F_TEST", &Spec::F_TEST_},
      // Deliberate: the one column that is not 0 when it is missing; pictures show four decimals.
      {"F_SCAL", &Spec::F_SCAL, 4},
      {"F_USL", &Spec::F_USL},
      {"F_TAR", &Spec::F_TAR},
      {"F_LSL", &Spec::F_LSL},
      {"F_UGB", &Spec::F_UGB},
      {"F_LGB", &Spec::F_LGB},
      {"F_URL", &Spec::F_URL},
      {"F_LRL", &Spec::F_LRL},
      // Deliberate: set and read a second time; it keeps its place.
      {"F_URL", &Spec::F_URL},
      {"F_UWP", &Spec::F_UWP},
      {"F_LWP", &Spec::F_LWP},
      {"F_USG", &Spec::F_USG},
      {"F_LSG", &Spec::F_LSG},
      {"F_UDS", &Spec::F_UDS},
      {"F_LDS", &Spec::F_LDS},
      {"F_CP", &Spec::F_CP},
      {"F_CPK", &Spec::F_CPK},
      {"F_RRMAR", &Spec::F_RRMAR},
      {"F_RRMAX", &Spec::F_RRMAX},
      {"F_EFLAG", &Spec::F_EFLAG},
      {"F_AFLAG", &Spec::F_AFLAG},
  };
};

using Ctrl = API_CCCtrlLim;
template <>
struct Table<Ctrl> {
  static constexpr std::string_view kContainer = "ControlLimits", kRow = "CtrlLim";
  static constexpr std::string_view kCreate = "CCResults.CreateControlLimitsXMLNode",
                                    kCreateRow = "CCResults.CreateCtrlLimXMLNode",
                                    kSet = "CCResults.SetCLimXMLNode";
  static constexpr auto kRows = &API_CCResults::CtrlLims;
  static constexpr auto kCount = &API_CCTotals::CtrlLimCount;
  static constexpr bool kReadsContainer = false;
  static constexpr Column<Ctrl> kColumns[] = {
      {"F_PART", &Ctrl::F_PART}, {"F_PRCS", &Ctrl::F_PRCS}, {"F_TEST", &Ctrl::F_TEST_},
      {"F_EFTM", &Ctrl::F_EFTM}, {"F_MEAN", &Ctrl::F_MEAN}, {"F_SP", &Ctrl::F_SP},
      {"F_SPL", &Ctrl::F_SPL},   {"F_SW", &Ctrl::F_SW},     {"F_SWL", &Ctrl::F_SWL},
      {"F_STTM", &Ctrl::F_STTM}, {"F_FNTM", &Ctrl::F_FNTM},
  };
};

using Opps = API_CCDefOpp;
template <>
struct Table<Opps> {
  static constexpr std::string_view kContainer = "DefectOpportunities", kRow = "DefOpp";
  static constexpr std::string_view kCreate = "CCResults.CreateDefectOpportunitiesXMLNode",
                                    kCreateRow = "CCResults.CreateDefOppXMLNode",
                                    kSet = "CCResults.SetOppDataXMLNode";
  static constexpr auto kRows = &API_CCResults::DefOpps;
  static constexpr auto kCount = &API_CCTotals::DefOppCount;
  static constexpr bool kReadsContainer = false;
  static constexpr Column<Opps> kColumns[] = {
      {"F_PART", &Opps::F_PART}, {"F_TEST", &Opps::F_TEST_}, {"F_OPPS", &Opps::F_OPPS}};
};

// Writing.

std::string ListText(const Array<std::int32_t>& values) {
  return XMLSupport::ConvertLongArrayToString(values);
}
std::string ListText(const Array<double>& values) {
  return XMLSupport::ConvertDoubleArrayToString(values);
}

template <class Row>
XmlNode CreateRowXMLNode(XmlDocument& Document, const API_CCResults& record, std::int32_t index) {
  return Traced(Table<Row>::kCreateRow, [&] {
    // Deliberate: fails with 9 once the rows went into a table object; their count stays.
    const Row& row = (record.*Table<Row>::kRows)[index];
    const XmlNode element = Document.CreateElement(Table<Row>::kRow);
    for (const auto& column : Table<Row>::kColumns)
      std::visit(
          [&](const auto field) {
            XMLSupport::SetXMLAttribute(element, column.attribute, row.*field);
          },
          column.field);
    return element;
  });
}

template <class Row>
XmlNode CreateRowsXMLNode(XmlDocument& Document, const API_CCResults& record) {
  return Traced(Table<Row>::kCreate, [&] {
    const XmlNode element = Document.CreateElement(Table<Row>::kContainer);
    const std::int32_t count = record.Totals.*Table<Row>::kCount;
    for (std::int32_t i = 0; i < count; ++i)
      Document.AppendChild(element, CreateRowXMLNode<Row>(Document, record, i));
    return element;
  });
}

XmlNode CreateGraphXMLNode(XmlDocument& Document, const API_CCResults& record, std::int32_t index) {
  return Traced("CCResults.CreateGraphXMLNode", [&] {
    const XmlNode element = Document.CreateElement("Graph");
    // The record of an analysis without data has neither masks nor graphs: its graphs are empty.
    static const API_CCGraph kNone;
    const bool given = record.Graphs.IsDimensioned();
    const API_CCGraph& graph = given ? record.Graphs[index] : kNone;
    XMLSupport::SetXMLAttribute(element, "Index", index);
    XMLSupport::SetXMLAttribute(
        element, "AlarmMask",
        record.AlarmMask.IsDimensioned() ? record.AlarmMask[index] : std::int32_t{0});
    XMLSupport::SetXMLAttribute(element, "AverageSize", graph.AverageSize);
    if (record.Totals.SubgroupCount == 0) return element;
    // Deliberate: the arrays of a graph that a host has read moved out and are written empty.
    for (const GraphArray& array : kGraphArrays)
      std::visit(
          [&](const auto field) {
            XMLSupport::SetXMLAttribute(element, array.attribute, ListText(graph.*field));
          },
          array.field);
    return element;
  });
}

XmlNode CreateGraphDataXMLNode(XmlDocument& Document, const API_CCResults& record) {
  return Traced("CCResults.CreateGraphDataXMLNode", [&] {
    const XmlNode element = Document.CreateElement("GraphData");
    XMLSupport::SetXMLAttribute(element, "SubgroupCount", record.Totals.SubgroupCount);
    XMLSupport::SetXMLAttribute(element, "TestCount", record.Totals.TestCount);
    for (std::int32_t i = 0; i < kGraphs; ++i)
      Document.AppendChild(element, CreateGraphXMLNode(Document, record, i));
    return element;
  });
}

XmlNode CreateStatisticsXMLNode(XmlDocument& Document, const API_CCResults& record) {
  return Traced("CCResults.CreateStatisticsXMLNode", [&] {
    const XmlNode element = Document.CreateElement("Statistics");
    for (const Statistic& each : kStatistics)
      XMLSupport::SetXMLAttribute(element, each.attribute, record.*each.field);
    return element;
  });
}

XmlNode CreateGroupDataXMLNode(XmlDocument& Document, const API_CCResults& record) {
  return Traced("CCResults.CreateGroupDataXMLNode", [&] {
    const XmlNode element = Document.CreateElement("GroupData");
    for (const GroupArray& array : kGroupArrays)
      XMLSupport::SetXMLAttribute(element, array.attribute, ListText(record.*array.field));
    return element;
  });
}

// Reading. What was read before a failure stays.

void ReadList(std::string_view text, Array<std::int32_t>& values) {
  XMLSupport::ConvertStringToLongArray(text, values);
}
void ReadList(std::string_view text, Array<double>& values) {
  XMLSupport::ConvertStringToDoubleArray(text, values);
}

void SetSubgroupDataXMLNode(const XmlNode& Node, std::shared_ptr<SubgroupData>& data,
                            API_CCTotals& totals) {
  settings_xml::SetObjectXMLNode("CCResults.SetSubgroupDataXMLNode", Node, data);
  if (!data) return;
  totals.SubgroupCount = data->TotalSubgroups();
  totals.TestCount = data->TotalTests();
}

void SetGraphXMLNode(const XmlNode& Node, API_CCResults& record) {
  Traced("CCResults.SetGraphXMLNode", [&] {
    const std::int32_t index = XMLSupport::ReadInt32(Node, "Index", -1);
    if (index == -1) return;
    const std::int32_t mask = XMLSupport::ReadInt32(Node, "AlarmMask", 0);
    record.AlarmMask[index] = mask;
    API_CCGraph& graph = record.Graphs[index];
    graph.AverageSize = XMLSupport::ReadDouble(Node, "AverageSize", 0.0);
    for (const GraphArray& array : kGraphArrays) {
      const auto text = TrimBlanks(XMLSupport::AttributeText(Node, array.attribute).value_or(""));
      std::visit([&](const auto field) { ReadList(text, graph.*field); }, array.field);
    }
  });
}

void SetGraphDataXMLNode(const XmlNode& Node, API_CCResults& record) {
  Traced("CCResults.SetGraphDataXMLNode", [&] {
    // Deliberate: the counts of the element replace those of the rows, even when missing.
    record.Totals.SubgroupCount = XMLSupport::ReadInt32(Node, "SubgroupCount", 0);
    record.Totals.TestCount = XMLSupport::ReadInt32(Node, "TestCount", 0);
    XMLSupport::ForEachChild(Node, "Graph",
                             [&](const XmlNode& graph) { SetGraphXMLNode(graph, record); });
  });
}

void SetStatDataXMLNode(const XmlNode& Node, API_CCResults& record) {
  Traced("CCResults.SetStatDataXMLNode", [&] {
    for (const Statistic& each : kStatistics)
      record.*each.field = XMLSupport::ReadDouble(Node, each.attribute, record.*each.field);
  });
}

template <class Row>
void ReadRow(const XmlNode& element, Row& row) {
  for (const auto& column : Table<Row>::kColumns) {
    if (const auto* integer = std::get_if<std::int32_t Row::*>(&column.field)) {
      row.** integer = XMLSupport::ReadInt32(element, column.attribute, column.missing);
    } else {
      row.*std::get<WireDouble Row::*>(column.field) =
          XMLSupport::ReadDouble(element, column.attribute, column.missing);
    }
  }
}

template <class Row>
void SetRowsXMLNode(const XmlNode& Node, API_CCResults& record) {
  Traced(Table<Row>::kSet, [&] {
    auto& rows = record.*Table<Row>::kRows;
    std::int32_t& total = record.Totals.*Table<Row>::kCount;
    total = 0;
    XMLSupport::DocumentOf(Node);
    // Deliberate: rows are looked for under the name of their container, not under the one that the
    // writer gives them, so no row that the library wrote comes back.
    const std::int32_t count = XMLSupport::CountChildren(Node, Table<Row>::kContainer);
    if (count == 0) return;
    total = count;
    rows.Dimension(0, count - 1);
    std::int32_t i = 0;
    XMLSupport::ForEachChild(Node, Table<Row>::kContainer, [&](const XmlNode& element) {
      ReadRow(Table<Row>::kReadsContainer ? Node : element, rows[i++]);
    });
  });
}

void SetGroupDataXMLNode(const XmlNode& Node, API_CCResults& record) {
  Traced("CCResults.SetGroupDataXMLNode", [&] {
    for (const GroupArray& array : kGroupArrays)
      ReadList(XMLSupport::AttributeText(Node, array.attribute).value_or(""), record.*array.field);
  });
}

}  // namespace

std::string CCResults::GetXML() { return settings_xml::GetXML(kElement, *this); }

platform::XmlNode CCResults::CreateXMLNode(const Friend&, platform::XmlDocument& Document) {
  return Traced("CCResults.CreateXMLNode", [&] {
    const XmlNode root = Document.CreateElement(kElement);
    if (processing_) Document.AppendChild(root, processing_->CreateXMLNode(Friend{}, Document));
    if (data_select_) Document.AppendChild(root, data_select_->CreateXMLNode(Friend{}, Document));
    // Deliberate: taking the rows out empties three of the group arrays before these are written.
    const auto data = SubgroupData();
    Document.AppendChild(root, data->CreateXMLNode(Friend{}, Document));
    Document.AppendChild(root, CreateGraphDataXMLNode(Document, record_));
    Document.AppendChild(root, CreateStatisticsXMLNode(Document, record_));
    Document.AppendChild(root, CreateRowsXMLNode<API_CCSpecLim>(Document, record_));
    Document.AppendChild(root, CreateRowsXMLNode<API_CCCtrlLim>(Document, record_));
    Document.AppendChild(root, CreateRowsXMLNode<API_CCDefOpp>(Document, record_));
    Document.AppendChild(root, CreateGroupDataXMLNode(Document, record_));
    return root;
  });
}

bool CCResults::SetXML(std::string_view XML) {
  return Traced("CCResults.SetXML",
                [&] { return SetXMLNode(XMLSupport::GetXMLSingleNode(XML, kElement).node); });
}

bool CCResults::SetXMLNode(const platform::XmlNode& Node) {
  return Traced("CCResults.SetXMLNode", [&] {
    record_.AlarmMask.Dimension(0, kGraphs - 1);
    record_.Graphs.Dimension(0, kGraphs - 1);
    XmlDocument& document = XMLSupport::DocumentOf(Node);
    const auto child = [&](std::string_view name) { return document.SelectSingleNode(Node, name); };
    settings_xml::SetObjectXMLNode("CCResults.SetProcessingXMLNode", child("CCProcessing"),
                                   processing_);
    settings_xml::SetObjectXMLNode("CCResults.SetDataselectXMLNode", child("DataSelect"),
                                   data_select_);
    SetSubgroupDataXMLNode(child("SubgroupData"), subgroup_data_, record_.Totals);
    SetGraphDataXMLNode(child("GraphData"), record_);
    SetStatDataXMLNode(child("Statistics"), record_);
    SetRowsXMLNode<API_CCSpecLim>(child("SpecificationLimits"), record_);
    SetRowsXMLNode<API_CCCtrlLim>(child("ControlLimits"), record_);
    SetRowsXMLNode<API_CCDefOpp>(child("DefectOpportunities"), record_);
    SetGroupDataXMLNode(child("GroupData"), record_);
    return true;
  });
}

}  // namespace orvspc
