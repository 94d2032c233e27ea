// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "chart/CCResults.h"
#include "frame/Friend.h"
#include "frame/NumberText.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

using platform::XmlDocument;
using platform::XmlNode;
using settings_xml::Field;

constexpr std::string_view kElement = "CCResults";
constexpr std::int32_t kGraphs = 3;

std::string ListText(const Array<std::int32_t>& values) {
  return XMLSupport::ConvertLongArrayToString(values);
}
std::string ListText(const Array<double>& values) {
  return XMLSupport::ConvertDoubleArrayToString(values);
}

void ReadList(std::string_view text, Array<std::int32_t>& values) {
  XMLSupport::ConvertStringToLongArray(text, values);
}
void ReadList(std::string_view text, Array<double>& values) {
  XMLSupport::ConvertStringToDoubleArray(text, values);
}

// An array as one attribute.
template <class Record, class T>
struct ListField {
  std::string_view attribute;
  Array<T> Record::*member;

  void Write(const XmlNode& element, const Record& record) const {
    settings_xml::WriteValue(element, attribute, ListText(record.*member));
  }
  void Read(const XmlNode& element, Record& record) const {
    auto text = XMLSupport::AttributeText(element, attribute).value_or("");
    // Deliberate: the arrays of groups are read with the blanks around them.
    if constexpr (std::is_same_v<Record, API_CCGraph>) text = TrimBlanks(text);
    ReadList(text, record.*member);
  }
};
template <class Record, class T>
ListField(const char*, Array<T> Record::*) -> ListField<Record, T>;

// In the order of the attributes.
constexpr std::tuple kGraphArrays{
    ListField{"SGSizes", &API_CCGraph::SGSizes},   ListField{"Points", &API_CCGraph::Points},
    ListField{"Overlays", &API_CCGraph::Overlays}, ListField{"cOOCs", &API_CCGraph::cOOCs},
    ListField{"OOCs", &API_CCGraph::OOCs},         ListField{"OOSs", &API_CCGraph::OOSs},
    ListField{"USLs", &API_CCGraph::USLs},         ListField{"Targets", &API_CCGraph::Targets},
    ListField{"LSLs", &API_CCGraph::LSLs},         ListField{"cUCLs", &API_CCGraph::cUCLs},
    ListField{"cCLs", &API_CCGraph::cCLs},         ListField{"cLCLs", &API_CCGraph::cLCLs},
    ListField{"UCLs", &API_CCGraph::UCLs},         ListField{"Cls", &API_CCGraph::Cls},
    ListField{"LCLs", &API_CCGraph::LCLs},         ListField{"AFlags", &API_CCGraph::AFlags},
    ListField{"EFlags", &API_CCGraph::EFlags},
};
constexpr std::tuple kGroupArrays{
    ListField{"GroupIDs", &API_CCResults::GroupIDs},
    ListField{"GroupIndex", &API_CCResults::GroupIndex},
    ListField{"GroupStart", &API_CCResults::GroupStart},
    ListField{"GroupEnd", &API_CCResults::GroupEnd},
};
constexpr std::tuple kStatistics{
    Field{"MeanEstimate", &API_CCResults::MeanEstimate},
    Field{"SPEstimate", &API_CCResults::SPEstimate},
    Field{"SWEstimate", &API_CCResults::SWEstimate},
};

// What an array of limit rows is in the record and in the text.
template <class Row>
struct Table;

using Spec = API_CCSpecLim;
template <>
struct Table<Spec> {
  static constexpr std::string_view kContainer = "SpecificationLimits", kRow = "SpecLim";
  static constexpr std::string_view kCreate = "CCResults.CreateSpecificationLimitXMLNode",
                                    kSet = "CCResults.SetSpecDataXMLNode";
  static constexpr auto kRows = &API_CCResults::SpecLims;
  static constexpr auto kCount = &API_CCTotals::SpecLimCount;
  // Deliberate: F_URL is set and read a second time; it keeps its place.
  static constexpr std::tuple kColumns{
      Field{"F_PART", &Spec::F_PART},   Field{"F_TEST", &Spec::F_TEST_},
      Field{"F_SCAL", &Spec::F_SCAL},   Field{"F_USL", &Spec::F_USL},
      Field{"F_TAR", &Spec::F_TAR},     Field{"F_LSL", &Spec::F_LSL},
      Field{"F_UGB", &Spec::F_UGB},     Field{"F_LGB", &Spec::F_LGB},
      Field{"F_URL", &Spec::F_URL},     Field{"F_LRL", &Spec::F_LRL},
      Field{"F_URL", &Spec::F_URL},     Field{"F_UWP", &Spec::F_UWP},
      Field{"F_LWP", &Spec::F_LWP},     Field{"F_USG", &Spec::F_USG},
      Field{"F_LSG", &Spec::F_LSG},     Field{"F_UDS", &Spec::F_UDS},
      Field{"F_LDS", &Spec::F_LDS},     Field{"F_CP", &Spec::F_CP},
      Field{"F_CPK", &Spec::F_CPK},     Field{"F_RRMAR", &Spec::F_RRMAR},
      Field{"F_RRMAX", &Spec::F_RRMAX}, Field{"F_EFLAG", &Spec::F_EFLAG},
      Field{"F_AFLAG", &Spec::F_AFLAG},
  };
};

using Ctrl = API_CCCtrlLim;
template <>
struct Table<Ctrl> {
  static constexpr std::string_view kContainer = "ControlLimits", kRow = "CtrlLim";
  static constexpr std::string_view kCreate = "CCResults.CreateControlLimitsXMLNode",
                                    kSet = "CCResults.SetCLimXMLNode";
  static constexpr auto kRows = &API_CCResults::CtrlLims;
  static constexpr auto kCount = &API_CCTotals::CtrlLimCount;
  static constexpr std::tuple kColumns{
      Field{"F_PART", &Ctrl::F_PART},  Field{"F_PRCS", &Ctrl::F_PRCS},
      Field{"F_TEST", &Ctrl::F_TEST_}, Field{"F_EFTM", &Ctrl::F_EFTM},
      Field{"F_MEAN", &Ctrl::F_MEAN},  Field{"F_SP", &Ctrl::F_SP},
      Field{"F_SPL", &Ctrl::F_SPL},    Field{"F_SW", &Ctrl::F_SW},
      Field{"F_SWL", &Ctrl::F_SWL},    Field{"F_STTM", &Ctrl::F_STTM},
      Field{"F_FNTM", &Ctrl::F_FNTM},
  };
};

using Opps = API_CCDefOpp;
template <>
struct Table<Opps> {
  static constexpr std::string_view kContainer = "DefectOpportunities", kRow = "DefOpp";
  static constexpr std::string_view kCreate = "CCResults.CreateDefectOpportunitiesXMLNode",
                                    kSet = "CCResults.SetOppDataXMLNode";
  static constexpr auto kRows = &API_CCResults::DefOpps;
  static constexpr auto kCount = &API_CCTotals::DefOppCount;
  static constexpr std::tuple kColumns{Field{"F_PART", &Opps::F_PART},
                                       Field{"F_TEST", &Opps::F_TEST_},
                                       Field{"F_OPPS", &Opps::F_OPPS}};
};

// Writing.

template <class Row>
XmlNode CreateRowsXMLNode(XmlDocument& Document, const API_CCResults& record) {
  using T = Table<Row>;
  return Traced(T::kCreate, [&] {
    const XmlNode element = Document.CreateElement(T::kContainer);
    const std::int32_t count = record.Totals.*T::kCount;
    const auto entry = [] { return "CCResults.Create" + std::string(T::kRow) + "XMLNode"; };
    for (std::int32_t i = 0; i < count; ++i) {
      const XmlNode added = Traced(entry, [&] {
        // Deliberate: fails with 9 once the rows went into a table object; their count stays.
        const Row& row = (record.*T::kRows)[i];
        return settings_xml::CreateElement(Document, T::kRow, T::kColumns, row);
      });
      Document.AppendChild(element, added);
    }
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
    settings_xml::Write(element, kGraphArrays, graph);
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
    return settings_xml::CreateElement(Document, "Statistics", kStatistics, record);
  });
}

XmlNode CreateGroupDataXMLNode(XmlDocument& Document, const API_CCResults& record) {
  return Traced("CCResults.CreateGroupDataXMLNode", [&] {
    return settings_xml::CreateElement(Document, "GroupData", kGroupArrays, record);
  });
}

// Reading. What was read before a failure stays.

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
    settings_xml::Read(Node, kGraphArrays, graph);
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
  Traced("CCResults.SetStatDataXMLNode", [&] { settings_xml::Read(Node, kStatistics, record); });
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
    Row* row = rows.Elements().data();
    XMLSupport::ForEachChild(Node, Table<Row>::kContainer, [&](const XmlNode& element) {
      constexpr bool kSpec = std::is_same_v<Row, Spec>;
      // Deliberate: the one column that is not 0 when it is missing; pictures show four decimals.
      if constexpr (kSpec) row->F_SCAL = 4;
      // Deliberate: these are read from their container, which the writer leaves bare.
      settings_xml::Read(kSpec ? Node : element, Table<Row>::kColumns, *row++);
    });
  });
}

void SetGroupDataXMLNode(const XmlNode& Node, API_CCResults& record) {
  Traced("CCResults.SetGroupDataXMLNode", [&] { settings_xml::Read(Node, kGroupArrays, record); });
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
