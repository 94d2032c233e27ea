// SPDX-License-Identifier: Apache-2.0
#include "dataset/subgroup_xml.h"

#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "dataset/SubgroupData.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/settings_xml.h"
#include "platform/FixedText.h"

namespace orvspc {
namespace {

using platform::XmlNode;
using settings_xml::Field;

// What the element of a row and its procedures in the trail are named after, and its attributes in
// their order: one table for the writer and the reader.
template <class Row>
struct Element;

template <>
struct Element<API_SubgroupData> {
  using Row = API_SubgroupData;
  static constexpr std::string_view kName = "Subgroup";
  static constexpr std::tuple kFields{
      Field{"F_SGRP", &Row::Sgrp},       Field{"F_PART", &Row::Part},
      Field{"F_PRCS", &Row::Prcs},       Field{"F_TEST", &Row::Test},
      Field{"F_WKNO", &Row::Wkst},       Field{"F_JOB", &Row::Job},
      Field{"F_LOT", &Row::Lot},         Field{"F_SHFT", &Row::Shft},
      Field{"F_PTRV", &Row::Ptrv},       Field{"F_EMPL", &Row::Empl},
      Field{"F_SGTM", &Row::Sgtm},       Field{"F_SGSZ", &Row::Size},
      Field{"F_FLAG", &Row::Flag},       Field{"Test_Start", &Row::Test_Start},
      Field{"Test_End", &Row::Test_End},
  };
};

template <>
struct Element<API_TestData> {
  using Row = API_TestData;
  static constexpr std::string_view kName = "Test";
  static constexpr std::tuple kFields{
      Field{"F_SN", &Row::Sn},   Field{"F_TSNO", &Row::Tsno}, Field{"F_SBNO", &Row::Sbno},
      Field{"F_DEF", &Row::Def}, Field{"F_GAGE", &Row::Gage}, Field{"F_VAL", &Row::Val},
  };
};

template <>
struct Element<API_DescriptorData> {
  using Row = API_DescriptorData;
  static constexpr std::string_view kName = "Descriptor";
  static constexpr std::tuple kFields{
      Field{"F_SGRP", &Row::Sgrp},
      Field{"F_DSGP", &Row::Dsgp},
      Field{"F_DESC", &Row::Desc},
      Field{"F_TSNO", &Row::Tsno},
  };
};

template <>
struct Element<API_CommentData> {
  using Row = API_CommentData;
  static constexpr std::string_view kName = "Comment";
  static constexpr std::tuple kFields{
      Field{"F_SGRP", &Row::Sgrp}, Field{"F_EDTM", &Row::Edtm}, Field{"F_EMPL", &Row::Empl},
      Field{"F_TEST", &Row::Test}, Field{"F_TSNO", &Row::Tsno}, Field{"F_NOTE", &Row::Note},
  };
};

// "front", the name of the row's element, "back".
template <class Row>
auto Named(std::string_view front, std::string_view back) {
  return [=] { return std::string(front).append(Element<Row>::kName).append(back); };
}

// Appends the container with one element for each row.
template <class Row>
void AppendRows(platform::XmlDocument& document, const XmlNode& root, const Array<Row>& rows) {
  using E = Element<Row>;
  const XmlNode added = Traced(Named<Row>("SubgroupData.Create", "sXMLNode"), [&] {
    const XmlNode container = document.CreateElement(Named<Row>("", "s")());
    for (const Row& row : rows.Elements()) {
      const auto element = Traced(Named<Row>("SubgroupData.Create", "XMLNode"), [&] {
        return settings_xml::CreateElement(document, E::kName, E::kFields, row);
      });
      document.AppendChild(container, element);
    }
    return container;
  });
  document.AppendChild(root, added);
}

// Fills one row for each child element of the container.
template <class Row>
void LoadRows(const XmlNode& root, Array<Row>& rows) {
  using E = Element<Row>;
  const XmlNode node = XMLSupport::DocumentOf(root).SelectSingleNode(root, Named<Row>("", "s")());
  Traced(Named<Row>("XMLSupport.LoadAPI_", "DataFromXMLNode"), [&] {
    const std::int32_t count = XMLSupport::CountChildren(node, E::kName);
    if (count == 0) return;
    Row missing = {};
    if constexpr (std::is_same_v<Row, API_CommentData>) {
      // Deliberate: an absent text reads as "0", since the default of every attribute is that
      // number.
      platform::StoreFixedText(missing.Empl, "0");
      platform::StoreFixedText(missing.Note, "0");
    }
    rows.Dimension(0, count - 1);
    Row* row = rows.Elements().data();
    XMLSupport::ForEachChild(node, E::kName, [&](const XmlNode& element) {
      *row = missing;
      settings_xml::Read(element, E::kFields, *row++);
    });
  });
}

}  // namespace

bool XMLSupport::LoadSubgroupDataFromXMLNode(const XmlNode& node,
                                             Array<API_SubgroupData>& Subgroups,
                                             Array<API_TestData>& Tests,
                                             Array<API_DescriptorData>& Descriptors,
                                             Array<API_CommentData>& Comments) {
  return Traced("XMLSupport.LoadSubgroupDataFromXMLNode", [&] {
    if (!node) return false;
    LoadRows(node, Subgroups);
    LoadRows(node, Tests);
    LoadRows(node, Descriptors);
    LoadRows(node, Comments);
    return true;
  });
}

XmlNode SubgroupData::CreateXMLNode(const Friend&, platform::XmlDocument& Document) const {
  return Traced("SubgroupData.CreateXMLNode", [&] {
    const XmlNode root = Document.CreateElement("SubgroupData");
    AppendRows(Document, root, subgroups_);
    AppendRows(Document, root, tests_);
    AppendRows(Document, root, descriptors_);
    AppendRows(Document, root, comments_);
    return root;
  });
}

std::string SubgroupData::GetXML() const { return settings_xml::GetXML("SubgroupData", *this); }

bool SubgroupData::SetXML(std::string_view XML) {
  return settings_xml::SetXML("SubgroupData", *this, XML);
}

bool SubgroupData::SetXMLNode(const Friend&, const platform::XmlNode& node) {
  return Traced("SubgroupData.SetXMLNode", [&] {
    Array<API_SubgroupData> subgroups;
    Array<API_TestData> tests;
    Array<API_DescriptorData> descriptors;
    Array<API_CommentData> comments;
    XMLSupport::LoadSubgroupDataFromXMLNode(node, subgroups, tests, descriptors, comments);
    LoadStructures(Friend(), std::move(subgroups), std::move(tests), std::move(descriptors),
                   std::move(comments));
    return true;
  });
}

}  // namespace orvspc
