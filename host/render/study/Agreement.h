// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

struct AgreementDocument {
  StudyHead head;
  studies::AgreementStudy study;
};
std::string AgreementJson(const AgreementDocument& document, const Names& names);
StudyView MakeAgreementView(const AgreementDocument& document, const Names& names);

}  // namespace orvspc::render
