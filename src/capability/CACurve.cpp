// SPDX-License-Identifier: Apache-2.0
#include "capability/CACurve.h"

#include <utility>

#include "frame/Checked.h"
#include "frame/Friend.h"
#include "frame/NumberText.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"

namespace orvspc {

void CACurve::Load(const Friend&, Array<double> X, Array<double> Y) {
  Traced("CACurve.Load", [&] {
    x_ = std::move(X);
    y_ = std::move(Y);
    const std::int32_t count = checked::Narrow(x_.UpperBound() + 1);
    y_.UpperBound();  // Y too must have been dimensioned; its length is not looked at
    count_ = count;
  });
}

std::string CACurve::GetArrayString(const Friend&, const Array<double>& Values) const {
  return Traced("CACurve.GetArrayString", [&] {
    std::string text;
    for (std::int32_t i = 0; i < count_; ++i) {
      if (i != 0) text += ' ';
      text += NumberText(Values[i]).View();
    }
    return text;
  });
}

void CACurve::GetArray(const Friend&, std::string_view Text, Array<double>& Values) const {
  Traced("CACurve.GetArray", [&] { XMLSupport::SplitNumbers(Text, Values, ToDouble); });
}

platform::XmlNode CACurve::CreateXMLNode(const Friend& key, platform::XmlDocument& Document) const {
  return Traced("CACurve.CreateXMLNode", [&] {
    const auto element = Document.CreateElement("Curve");
    XMLSupport::SetXMLAttribute(element, "X", GetArrayString(key, x_));
    XMLSupport::SetXMLAttribute(element, "Y", GetArrayString(key, y_));
    return element;
  });
}

bool CACurve::SetXMLNode(const Friend& key, const platform::XmlNode& Node) {
  return Traced("CACurve.SetXMLNode", [&] {
    const auto points = [&](std::string_view attribute) {
      Array<double> values;
      const auto text = TrimBlanks(XMLSupport::AttributeText(Node, attribute).value_or(""));
      // Deliberate: an empty text leaves the array never dimensioned, which Load fails on with 9.
      if (!text.empty()) GetArray(key, text, values);
      return values;
    };
    Array<double> x = points("X");
    Array<double> y = points("Y");
    Load(key, std::move(x), std::move(y));
    return true;
  });
}

}  // namespace orvspc
