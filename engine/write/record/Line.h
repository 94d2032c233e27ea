// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "platform/NewRecord.h"

// Records and answers as lines of JSON.
namespace orvspc::engine::record {

// A canonical record, to which "key" may be added. Throws Refused; `key`, where it is not
// null, is that of the line also then.
NewRecord RecordOfLine(std::string_view line, std::string* key = nullptr);

// {"key","subgroup","version","repeated","notes"}; an empty key is left out, and notes where there
// are none.
std::string AnswerOf(const std::string& key, const Recorded& recorded);
// {"key","error":{"code","field","text"}}
std::string AnswerOf(const std::string& key, const Refused& refused);

}  // namespace orvspc::engine::record
