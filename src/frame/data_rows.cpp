// SPDX-License-Identifier: Apache-2.0
// The readers of XMLSupport for the rows of a subgroup data set.
#include "frame/data_rows.h"

#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "platform/FixedText.h"

namespace orvspc::XMLSupport {
namespace {

// Fills one row for each child element of its name.
template <class Row>
void LoadRows(std::string_view entry, const platform::XmlNode& node, Array<Row>& rows,
              const Row& missing = {}) {
  using Element = data_rows::Element<Row>;
  Traced(entry, [&] {
    const std::int32_t count = CountChildren(node, Element::kName);
    if (count == 0) return;
    rows.Dimension(0, count - 1);
    Row* row = rows.Elements().data();
    ForEachChild(node, Element::kName, [&](const platform::XmlNode& element) {
      *row = missing;
      settings_xml::Read(element, Element::kFields, *row++);
    });
  });
}

}  // namespace

bool LoadSubgroupDataFromXMLNode(const platform::XmlNode& node, Array<API_SubgroupData>& Subgroups,
                                 Array<API_TestData>& Tests, Array<API_DescriptorData>& Descriptors,
                                 Array<API_CommentData>& Comments) {
  return Traced("XMLSupport.LoadSubgroupDataFromXMLNode", [&] {
    if (!node) return false;
    platform::XmlDocument& document = DocumentOf(node);
    LoadAPI_SubgroupDataFromXMLNode(document.SelectSingleNode(node, "Subgroups"), Subgroups);
    LoadAPI_TestDataFromXMLNode(document.SelectSingleNode(node, "Tests"), Tests);
    LoadAPI_DescriptorDataFromXMLNode(document.SelectSingleNode(node, "Descriptors"), Descriptors);
    LoadAPI_CommentDataFromXMLNode(document.SelectSingleNode(node, "Comments"), Comments);
    return true;
  });
}

void LoadAPI_SubgroupDataFromXMLNode(const platform::XmlNode& node, Array<API_SubgroupData>& Rows) {
  LoadRows("XMLSupport.LoadAPI_SubgroupDataFromXMLNode", node, Rows);
}

void LoadAPI_TestDataFromXMLNode(const platform::XmlNode& node, Array<API_TestData>& Rows) {
  LoadRows("XMLSupport.LoadAPI_TestDataFromXMLNode", node, Rows);
}

void LoadAPI_DescriptorDataFromXMLNode(const platform::XmlNode& node,
                                       Array<API_DescriptorData>& Rows) {
  LoadRows("XMLSupport.LoadAPI_DescriptorDataFromXMLNode", node, Rows);
}

void LoadAPI_CommentDataFromXMLNode(const platform::XmlNode& node, Array<API_CommentData>& Rows) {
  // Deliberate: an absent text reads as "0", since the default of every attribute is the number 0.
  API_CommentData missing = {};
  platform::StoreFixedText(missing.Empl, "0");
  platform::StoreFixedText(missing.Note, "0");
  LoadRows("XMLSupport.LoadAPI_CommentDataFromXMLNode", node, Rows, missing);
}

}  // namespace orvspc::XMLSupport
