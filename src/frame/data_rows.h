// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <tuple>

#include "frame/settings_xml.h"
#include "platform/RowRecords.h"

// The rows of a subgroup data set as elements: one table for the writer and the reader.
namespace orvspc::data_rows {

using settings_xml::Field;

// The element of a row, the trail names of its writer, and its attributes in their order.
template <class Row>
struct Element;

template <>
struct Element<API_SubgroupData> {
  using Row = API_SubgroupData;
  static constexpr std::string_view kName = "Subgroup";
  static constexpr std::string_view kCreate = "SubgroupData.CreateSubgroupXMLNode";
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
  static constexpr std::string_view kCreate = "SubgroupData.CreateTestXMLNode";
  static constexpr std::tuple kFields{
      Field{"F_SN", &Row::Sn},   Field{"F_TSNO", &Row::Tsno}, Field{"F_SBNO", &Row::Sbno},
      Field{"F_DEF", &Row::Def}, Field{"F_GAGE", &Row::Gage}, Field{"F_VAL", &Row::Val},
  };
};

template <>
struct Element<API_DescriptorData> {
  using Row = API_DescriptorData;
  static constexpr std::string_view kName = "Descriptor";
  static constexpr std::string_view kCreate = "SubgroupData.CreateDescriptorXMLNode";
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
  static constexpr std::string_view kCreate = "SubgroupData.CreateCommentXMLNode";
  static constexpr std::tuple kFields{
      Field{"F_SGRP", &Row::Sgrp}, Field{"F_EDTM", &Row::Edtm}, Field{"F_EMPL", &Row::Empl},
      Field{"F_TEST", &Row::Test}, Field{"F_TSNO", &Row::Tsno}, Field{"F_NOTE", &Row::Note},
  };
};

}  // namespace orvspc::data_rows
