// SPDX-License-Identifier: Apache-2.0
#include "capability/limit_forms.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>

#include "platform/FixedText.h"

namespace orvspc::limit_forms {
namespace {

// Every byte of the record differs from its neighbours.
template <class Record>
Record Pattern() {
  Record record = {};
  auto* const bytes = reinterpret_cast<unsigned char*>(&record);
  for (std::size_t i = 0; i < sizeof record; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + 1);
  return record;
}

template <class Record>
void ExpectComesBack(const Record& narrow) {
  const Record back = Narrow(Widen(narrow));
  EXPECT_EQ(std::memcmp(&back, &narrow, sizeof narrow), 0);
}

TEST(LimitForms, EveryByteOfTheLibrarysFormComesBack) {
  ExpectComesBack(Pattern<API_CASpecLim8>());
  ExpectComesBack(Pattern<API_CANccLim8>());
}

TEST(LimitForms, ZeroStaysZero) {
  ExpectComesBack(API_CASpecLim8{});
  const API_CASpecLim wide = Widen(API_CASpecLim8{});
  EXPECT_EQ(std::u16string_view(wide.Text, 256), std::u16string(256, u'\0'));
}

TEST(LimitForms, FieldsOnBothSidesOfTheTextKeepTheirPlaces) {
  API_CASpecLim spec = {};
  spec.Head[0] = 1;
  spec.Head[9] = 2;
  spec.Word296 = 3;
  spec.Scale = 4;
  spec.Usl = 5.5;
  spec.Word484 = 6;
  const API_CASpecLim8 narrow = Narrow(spec);
  EXPECT_EQ(narrow.Head[0], 1);
  EXPECT_EQ(narrow.Head[9], 2);
  EXPECT_EQ(narrow.Word296, 3);
  EXPECT_EQ(narrow.Scale, 4);
  EXPECT_EQ(narrow.Usl, 5.5);
  EXPECT_EQ(narrow.Word484, 6);

  API_CANccLim ncc = {};
  ncc.Head[0] = 7;
  ncc.Lsc = 8.5;
  ncc.EFlag = 9;
  ncc.Word428 = 10;
  const API_CANccLim back = Widen(Narrow(ncc));
  EXPECT_EQ(back.Head[0], 7);
  EXPECT_EQ(back.Lsc, 8.5);
  EXPECT_EQ(back.EFlag, 9);
  EXPECT_EQ(back.Word428, 10);
}

TEST(LimitForms, TheTextIsConvertedCharacterForCharacterWithItsPadding) {
  API_CANccLim wide = {};
  platform::StoreFixedText(wide.Text, "µ € 直");
  const API_CANccLim8 narrow = Narrow(wide);
  EXPECT_EQ(std::string_view(narrow.Text, 7), "\xB5 \x80 ?  ");
  EXPECT_EQ(narrow.Text[255], ' ');
  EXPECT_EQ(std::u16string_view(Widen(narrow).Text, 7), u"µ € ?  ");
}

}  // namespace
}  // namespace orvspc::limit_forms
