// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "dataset/SubgroupData.h"
#include "frame/Friend.h"
#include "frame/NumberText.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "platform/FixedText.h"

namespace orvspc {
namespace {

// Sets the attributes of one element.
class Attributes {
 public:
  Attributes(platform::XmlDocument& document, platform::XmlNode element)
      : document_(document), element_(element) {}

  void Set(std::string_view name, std::int32_t value) {
    document_.SetAttribute(element_, name, NumberText(value));
  }
  void Set(std::string_view name, double value) {
    document_.SetAttribute(element_, name, NumberText(value));
  }
  void Set(std::string_view name, std::span<const char16_t> field) {
    document_.SetAttribute(element_, name, platform::FixedTextToUtf8(field));
  }

 private:
  platform::XmlDocument& document_;
  platform::XmlNode element_;
};

platform::XmlNode CreateSubgroupXMLNode(platform::XmlDocument& document,
                                        const API_SubgroupData& row) {
  return Traced("SubgroupData.CreateSubgroupXMLNode", [&] {
    const platform::XmlNode element = document.CreateElement("Subgroup");
    Attributes attributes(document, element);
    attributes.Set("F_SGRP", row.Sgrp);
    attributes.Set("F_PART", row.Part);
    attributes.Set("F_PRCS", row.Prcs);
    attributes.Set("F_TEST", row.Test);
    attributes.Set("F_WKNO", row.Wkst);
    attributes.Set("F_JOB", row.Job);
    attributes.Set("F_LOT", row.Lot);
    attributes.Set("F_SHFT", row.Shft);
    attributes.Set("F_PTRV", row.Ptrv);
    attributes.Set("F_EMPL", row.Empl);
    attributes.Set("F_SGTM", row.Sgtm);
    attributes.Set("F_SGSZ", row.Size);
    attributes.Set("F_FLAG", row.Flag);
    attributes.Set("Test_Start", row.Test_Start);
    attributes.Set("Test_End", row.Test_End);
    return element;
  });
}

platform::XmlNode CreateTestXMLNode(platform::XmlDocument& document, const API_TestData& row) {
  return Traced("SubgroupData.CreateTestXMLNode", [&] {
    const platform::XmlNode element = document.CreateElement("Test");
    Attributes attributes(document, element);
    attributes.Set("F_SN", row.Sn);
    attributes.Set("F_TSNO", row.Tsno);
    attributes.Set("F_SBNO", row.Sbno);
    attributes.Set("F_DEF", row.Def);
    attributes.Set("F_GAGE", row.Gage);
    attributes.Set("F_VAL", static_cast<double>(row.Val));
    return element;
  });
}

platform::XmlNode CreateDescriptorXMLNode(platform::XmlDocument& document,
                                          const API_DescriptorData& row) {
  return Traced("SubgroupData.CreateDescriptorXMLNode", [&] {
    const platform::XmlNode element = document.CreateElement("Descriptor");
    Attributes attributes(document, element);
    attributes.Set("F_SGRP", row.Sgrp);
    attributes.Set("F_DSGP", row.Dsgp);
    attributes.Set("F_DESC", row.Desc);
    attributes.Set("F_TSNO", row.Tsno);
    return element;
  });
}

platform::XmlNode CreateCommentXMLNode(platform::XmlDocument& document,
                                       const API_CommentData& row) {
  return Traced("SubgroupData.CreateCommentXMLNode", [&] {
    const platform::XmlNode element = document.CreateElement("Comment");
    Attributes attributes(document, element);
    attributes.Set("F_SGRP", row.Sgrp);
    attributes.Set("F_EDTM", row.Edtm);
    attributes.Set("F_EMPL", row.Empl);
    attributes.Set("F_TEST", row.Test);
    attributes.Set("F_TSNO", row.Tsno);
    attributes.Set("F_NOTE", row.Note);
    return element;
  });
}

// The container with one element for each row.
template <class Row>
platform::XmlNode CreateRowsXMLNode(std::string_view procedure, std::string_view name,
                                    platform::XmlDocument& document, const Array<Row>& rows,
                                    platform::XmlNode (*create)(platform::XmlDocument&,
                                                                const Row&)) {
  return Traced(procedure, [&] {
    const platform::XmlNode container = document.CreateElement(name);
    for (const Row& row : rows.Elements()) document.AppendChild(container, create(document, row));
    return container;
  });
}

}  // namespace

platform::XmlNode SubgroupData::CreateXMLNode(const Friend&,
                                              platform::XmlDocument& Document) const {
  return Traced("SubgroupData.CreateXMLNode", [&] {
    const platform::XmlNode root = Document.CreateElement("SubgroupData");
    Document.AppendChild(root, CreateRowsXMLNode("SubgroupData.CreateSubgroupsXMLNode", "Subgroups",
                                                 Document, subgroups_, CreateSubgroupXMLNode));
    Document.AppendChild(root, CreateRowsXMLNode("SubgroupData.CreateTestsXMLNode", "Tests",
                                                 Document, tests_, CreateTestXMLNode));
    Document.AppendChild(
        root, CreateRowsXMLNode("SubgroupData.CreateDescriptorsXMLNode", "Descriptors", Document,
                                descriptors_, CreateDescriptorXMLNode));
    Document.AppendChild(root, CreateRowsXMLNode("SubgroupData.CreateCommentsXMLNode", "Comments",
                                                 Document, comments_, CreateCommentXMLNode));
    return root;
  });
}

std::string SubgroupData::GetXML() const {
  return Traced("SubgroupData.GetXML", [&] {
    const auto document = XMLSupport::MakeXMLDocument();
    return document->Xml(CreateXMLNode(Friend(), *document));
  });
}

bool SubgroupData::SetXML(std::string_view XML) {
  return Traced("SubgroupData.SetXML", [&] {
    const auto found = XMLSupport::GetXMLSingleNode(XML, "SubgroupData");
    return SetXMLNode(Friend(), found.node);
  });
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
