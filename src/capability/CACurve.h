// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/Array.h"
#include "frame/RowSet.h"
#include "platform/Dom.h"

namespace orvspc {

class Friend;

// The curve fitted to the histogram of a capability analysis, one point a row, with a cursor that
// starts on the first. Hosts reach it through CAResults.Curve. Empty when the analysis had no data.
class CACurve : public RowSet {
 public:
  explicit CACurve(const Friend&) : RowSet("CACurve", Moves::kDirect) {}

  // The number of X; there may be fewer Y in a curve that was read from XML.
  std::int32_t Count() const { return count_; }

  // The point at the cursor: X in the unit of the characteristic, Y on the scale of the bins. Fails
  // with 9 where there is none.
  double X() const { return x_[Position()]; }
  double Y() const { return y_[Position()]; }

  // For the library.
  // Takes the points. Deliberate: the cursor stays where it was, even behind the new end. An array
  // that was never dimensioned fails with 9, and the count stays.
  void Load(const Friend&, Array<double> X, Array<double> Y);
  // The first Count elements with one blank between them; fails with 9 where there are fewer. Not
  // XMLSupport.ConvertDoubleArrayToString, which writes all that there are.
  std::string GetArrayString(const Friend&, const Array<double>& Values) const;
  // The pieces between blanks. Not XMLSupport.ConvertStringToDoubleArray: a piece that is no number
  // fails with 13, and Values stays as far as it got; an empty text has no piece and fails with 9.
  void GetArray(const Friend&, std::string_view Text, Array<double>& Values) const;
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);

 private:
  std::int32_t RowCount() const override { return count_; }
  Array<double> x_, y_;
  std::int32_t count_ = 0;
};

}  // namespace orvspc
