// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "dataset/SubgroupData.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "frame/data_rows.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

// The container with one element for each row.
template <class Row>
platform::XmlNode CreateRowsXMLNode(std::string_view procedure, std::string_view name,
                                    platform::XmlDocument& document, const Array<Row>& rows) {
  using Element = data_rows::Element<Row>;
  return Traced(procedure, [&] {
    const platform::XmlNode container = document.CreateElement(name);
    for (const Row& row : rows.Elements()) {
      document.AppendChild(container, Traced(Element::kCreate, [&] {
                             const platform::XmlNode element =
                                 document.CreateElement(Element::kName);
                             settings_xml::Write(element, Element::kFields, row);
                             return element;
                           }));
    }
    return container;
  });
}

}  // namespace

platform::XmlNode SubgroupData::CreateXMLNode(const Friend&,
                                              platform::XmlDocument& Document) const {
  return Traced("SubgroupData.CreateXMLNode", [&] {
    const platform::XmlNode root = Document.CreateElement("SubgroupData");
    Document.AppendChild(root, CreateRowsXMLNode("SubgroupData.CreateSubgroupsXMLNode", "Subgroups",
                                                 Document, subgroups_));
    Document.AppendChild(
        root, CreateRowsXMLNode("SubgroupData.CreateTestsXMLNode", "Tests", Document, tests_));
    Document.AppendChild(root, CreateRowsXMLNode("SubgroupData.CreateDescriptorsXMLNode",
                                                 "Descriptors", Document, descriptors_));
    Document.AppendChild(root, CreateRowsXMLNode("SubgroupData.CreateCommentsXMLNode", "Comments",
                                                 Document, comments_));
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
