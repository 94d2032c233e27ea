// SPDX-License-Identifier: Apache-2.0
// What the documents of a system make of everything that goes through them, as lines that are to be
// equal on all systems:
//
//   xml DATABASE FILE      texts of every class that has one, for each stream of the database, and
//                          single texts and operations; the figures of an analysis may differ in
//                          their last digits
//   xml --read FROM FILE   the texts of such a file read and written again, by a document and by a
//                          new object of the class
//   xml --walk COUNT       the time that so many siblings take, in milliseconds
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "capability/CAAnalysis.h"
#include "chart/CCAnalysis.h"
#include "dataset/EventData.h"
#include "dataset/SubgroupData.h"
#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"
#include "frame/Failure.h"
#include "pareto/PAAnalysis.h"
#include "pareto/PABins.h"
#include "platform/ExternalFailure.h"
#include "platform/Platform.h"
#include "select/DataSelect.h"
#include "tests/windows/xml/Documents.h"

namespace orvspc::windows::tests {
namespace {

// The embedded platform with the documents of the system.
class PlatformOfSystem final : public platform::Platform {
 public:
  platform::DBLib6& DBLib() override { return embedded_->DBLib(); }
  platform::CtrlChrt6& CtrlChrt() override { return embedded_->CtrlChrt(); }
  platform::CapAna6& CapAna() override { return embedded_->CapAna(); }
  platform::Pareto6& Pareto() override { return embedded_->Pareto(); }
  platform::SReqCompliance& Compliance() override { return embedded_->Compliance(); }
  std::string Identity() override { return "xml"; }
  std::shared_ptr<platform::RuleDef> MakeRuleDef() override { return embedded_->MakeRuleDef(); }
  std::shared_ptr<platform::SpecLim> MakeSpecLim() override { return embedded_->MakeSpecLim(); }
  std::shared_ptr<platform::CtrlLim> MakeCtrlLim() override { return embedded_->MakeCtrlLim(); }
  std::shared_ptr<platform::DefOpp> MakeDefOpp() override { return embedded_->MakeDefOpp(); }
  std::shared_ptr<platform::TimeConversion> MakeTimeConversion() override {
    return embedded_->MakeTimeConversion();
  }
  std::shared_ptr<platform::TextTrimmer> MakeTextTrimmer() override {
    return embedded_->MakeTextTrimmer();
  }
  std::shared_ptr<platform::XmlDocument> MakeXmlDocument() override { return Documents::Make(); }
  std::shared_ptr<platform::ErrorLog> MakeErrorLog(std::string_view name) override {
    return embedded_->MakeErrorLog(name);
  }
  std::shared_ptr<platform::NameRecord> MakeNameRecord(platform::NameRecordKind kind) override {
    return embedded_->MakeNameRecord(kind);
  }
  std::shared_ptr<platform::PrcsStateLog> MakePrcsStateLog() override {
    return embedded_->MakePrcsStateLog();
  }

 private:
  std::shared_ptr<platform::Platform> embedded_ = EmbeddedPlatform();
};

// One line: what could break it is written as \xNN.
std::string Line(std::string_view text) {
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte < 0x7F && byte != '\\') {
      line += c;
      continue;
    }
    char code[8];
    std::snprintf(code, sizeof code, "\\x%02X", byte);
    line += code;
  }
  return line;
}

// The number of what the call throws; 0 for nothing.
std::int32_t NumberOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Failure& failure) {
    return failure.Number();
  } catch (const platform::ExternalFailure& failure) {
    return failure.Number();
  }
  return 0;
}

// ---- texts of the classes

class Texts {
 public:
  Texts(QualityDatabase& database, std::ostream& out) : database_(database), out_(out) {}

  void OfStream(const ListedStream& stream) {
    name_ = database_.Name(ItemKind::Part, stream.part) + ", " +
            database_.Name(ItemKind::Process, stream.process) + ", " +
            database_.Name(ItemKind::Test, stream.test);
    DataSelect select;
    select.MaximumItems(40);
    const bool counts = stream.test_type != ttVariable;
    select.IncludeVariableTests(!counts);
    select.IncludeDefectTests(counts);
    select.IncludeDefectiveTests(counts);
    select.Descriptors()->Add(dtPart)->AddItemID(stream.part);
    select.Descriptors()->Add(dtProcess)->AddItemID(stream.process);
    select.Descriptors()->Add(dtTest)->AddItemID(stream.test);
    Put("DataSelect", select);
    Put("SubgroupData", *select.Clone()->GetSubgroupData(database_.Database()));
    Put("EventData", *select.Clone()->GetEventData(database_.Database()));
    Charts(select, counts);
    if (!counts) Capability(select);
    Pareto(select, counts);
  }

  void OfEvents() {
    name_ = "all";
    DataSelect select;
    select.MaximumItems(1000);
    Put("EventData", *select.GetEventData(database_.Database()));
  }

 private:
  void Charts(const DataSelect& select, bool counts) {
    const auto processing = std::make_shared<CCProcessing>();
    processing->Graph1Type(counts ? ccGraph1BestGuessAttribute : ccGraph1BestGuessVariable);
    Put("CCProcessing", *processing);
    Put("CCResults",
        *CCAnalysis().AnalyzeDataSelect(database_.Database(), select.Clone(), processing));
  }

  void Capability(const DataSelect& select) {
    for (const auto fit : {caFitNormal, caFitJohnson}) {
      const auto processing = std::make_shared<CAProcessing>();
      processing->FitType(fit);
      Put("CAProcessing", *processing);
      Put("CAResults",
          *CAAnalysis().AnalyzeDataSelect(database_.Database(), select.Clone(), processing));
    }
  }

  void Pareto(const DataSelect& select, bool counts) {
    const auto processing = std::make_shared<PAProcessing>();
    processing->BinType(0, counts ? paBinTypeDefect : paBinTypeSubgroup);
    Put("PAProcessing", *processing);
    const auto results =
        PAAnalysis().AnalyzeDataSelect(database_.Database(), select.Clone(), processing);
    Put("PAResults", *results);
    Put("PABins", *results->Bins());
  }

  template <class T>
  void Put(const char* class_name, T& object) {
    const std::string text = object.GetXML();
    out_ << class_name << " (" << name_ << "): " << Line(text) << "\n";
  }

  QualityDatabase& database_;
  std::ostream& out_;
  std::string name_;
};

// ---- texts read again

// The text of a line.
std::string TextOf(std::string_view line) {
  std::string text;
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (line[at] != '\\') {
      text += line[at];
      continue;
    }
    text += static_cast<char>(std::stoi(std::string(line.substr(at + 2, 2)), nullptr, 16));
    at += 3;
  }
  return text;
}

template <class T>
void Again(const std::string& text, std::ostream& out) {
  T object;
  const std::int32_t number = NumberOf([&] { object.SetXML(text); });
  out << "  by a new object: " << number << " " << Line(object.GetXML()) << "\n";
}

// Null for PABins, which are made by an analysis alone.
using AgainFunction = void (*)(const std::string& text, std::ostream& out);
constexpr std::pair<std::string_view, AgainFunction> kClasses[] = {
    {"DataSelect", Again<DataSelect>}, {"SubgroupData", Again<SubgroupData>},
    {"EventData", Again<EventData>},   {"CCProcessing", Again<CCProcessing>},
    {"CCResults", Again<CCResults>},   {"CAProcessing", Again<CAProcessing>},
    {"CAResults", Again<CAResults>},   {"PAProcessing", Again<PAProcessing>},
    {"PAResults", Again<PAResults>},   {"PABins", nullptr}};

void PutAgain(std::istream& from, std::ostream& out) {
  for (std::string line; std::getline(from, line);) {
    for (const auto& [name, again] : kClasses) {
      if (!line.starts_with(std::string(name) + " (")) continue;
      const std::string text = TextOf(std::string_view(line).substr(line.find(": ") + 2));
      const auto document = Documents::Make();
      document->LoadXml(text);
      const bool same = document->Xml(document->Root()) == text;
      out << name << ": " << (same ? "the same" : "not the same") << "\n";
      if (again != nullptr) again(text, out);
    }
  }
}

// ---- single texts and operations

constexpr std::string_view kTexts[] = {
    "<a></a>",
    "<a\n x = '1'\t y=\"2\" ></a >",
    "<?xml version='1.0' encoding='utf-8' standalone='no' ?>\n<a/>\n",
    "<?xml version='1.0'?><a/>",
    "\xEF\xBB\xBF<a/>",
    "<a x='\"&apos;&#65;&#x42;&#x1F600;'/>",
    "<a x='1\t2\n3\r\n4\r5 6'/>",
    "<a x='&#9;&#10;&#13;'/>",
    "<a>\n  <b/>\n  <b x='1'> </b>\n</a>",
    "<a>x &lt; y<b/>]] > z</a>",
    "<a> <b/> t</a>",
    "<a>1\r\n2\t3\n</a>",
    "<a><![CDATA[<&]]]]></a>",
    "<?xml version='1.0' encoding='us-ascii'?><a/>",
    "<?xml version='1.0' encoding='iso-8859-1'?><a/>",
    "<?xml version='1.1'?><a/>",
    "<!-- c --><a><!-- d --><?p i?><b/></a>",
    "<\xC3\xA4 \xCE\xB1='\xE2\x82\xAC'/>",
    "<a x='\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80'/>",
    "",
    " ",
    "no XML",
    "<a>",
    "<a/><b/>",
    "<a x='1' x='2'/>",
    "<a x=1/>",
    "<a x='<'/>",
    "<a>&no;</a>",
    "<a>&#0;</a>",
    "<a>\x01</a>",
    "<!DOCTYPE a><a/>",
    "<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>",
    "<!DOCTYPE a [<!ENTITY e '>'><!ENTITY f '&e;&e;'>]><a x='&f;'/>",
    "<a x='<!DOCTYPE a>'/>",
    "<a><!-- <!DOCTYPE a> --><![CDATA[<!DOCTYPE a>]]></a>",
    "<p:a/>",
    "<a p:x='1'><p:b/></a>",
    "<a xmlns:p='urn:p' p:x='1'><p:b/></a>",
    "<a x='\xC3'/>",
    "<a x='\xED\xA0\x80'/>",
    "<DataSelect xmlns:p='u' p:MaximumItems='5'/>",
    "<DataSelect p:MaximumItems='5'/>",
    "<DataSelect xmlns:p='u' p:MaximumItems='5' MaximumItems='3'/>",
    "<DataSelect xmlns:p='u' MaximumItems='3' p:MaximumItems='5'/>",
    "<DataSelect xml:MaximumItems='5' MaximumItems='3'/>",
    "<DataSelect MaximumItems='3' xml:MaximumItems='5'/>",
    "<DataSelect xml:MaximumItems='5'/>",
    "<DataSelect p:MaximumItems='5' MaximumItems='3'/>",
    "<DataSelect MaximumItems='3' p:MaximumItems='5'/>",
    "<p:DataSelect MaximumItems='7'/>",
    "<p:DataSelect xmlns:p='u' MaximumItems='7'/>",
    "<DataSelect xmlns='u' MaximumItems='7'/>",
    "<?xml version='1.0' encoding='iso-8859-1'?><DataSelect MaximumItems='7'/>",
    "<?xml version='1.1'?><DataSelect MaximumItems='7'/>",
    "<a xmlns:p='u' xmlns:q='u' p:x='1' q:x='2'/>",
    "\xEF\xBB\xBF\xEF\xBB\xBF<a/>",
    "<?xml version='1.0' encoding='UTF-16'?><a/>",
    "<?xml version='1.0' encoding='utf8'?><a/>",
    "<?xml version='1.0' encoding='windows-1252'?><a/>",
    "<a:b:c/>",
    "<a xmlns='u'/>",
    "<a xmlns:p='u'/>",
    "<a xmlns:xml='http://www.w3.org/XML/1998/namespace'/>",
    "<a>&quot;</a>",
    "<a>&apos;</a>",
    "<a>&#9;</a>",
    "<a>&#10;x</a>",
    "<a>&#32;</a>",
    "<a>&#32;x</a>",
};

// What is asked of the roots of these texts.
constexpr std::string_view kAsked[] = {"MaximumItems", "x", "xmlns"};

void PutTexts(std::ostream& out) {
  for (const auto text : kTexts) {
    const auto document = Documents::Make();
    const bool read = document->LoadXml(text);
    out << "read " << Line(text) << ": "
        << (read ? Line(document->Xml(document->Root())) : "malformed") << ", root "
        << bool(document->Root());
    for (const auto name : kAsked)
      if (const auto value = read ? document->Attribute(document->Root(), name) : std::nullopt)
        out << ", " << name << " " << Line(*value);
    out << "\n";
  }
}

void PutNesting(std::ostream& out) {
  for (const int depth : {255, 256, 257, 100'000}) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<a>";
    for (int i = 0; i < depth; ++i) text += "</a>";
    out << "nested " << depth << ": " << Documents::Make()->LoadXml(text) << "\n";
  }
}

void PutValues(std::ostream& out) {
  using namespace std::string_view_literals;
  for (const auto value :
       {"a&b<c>d\"e'f"sv, "\t\n\r"sv, "\0\x01\x1F"sv, "\x7F"sv, "\xEF\xBF\xBE\xEF\xBF\xBF"sv,
        "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"sv, "a\x80z\xC3"sv, "\xED\xA0\x80"sv, ""sv, " a "sv,
        "&#xE4;"sv, "> <"sv, "]]>"sv}) {
    const auto document = Documents::Make();
    const auto root = document->CreateElement("a");
    document->SetAttribute(root, "x", value);
    const std::string text = document->Xml(root);
    const bool read = document->LoadXml(text);
    out << "value " << Line(value) << ": " << Line(text) << ", "
        << (read ? Line(document->Attribute(document->Root(), "x").value_or("none")) : "malformed")
        << "\n";
  }
}

void PutOperations(std::ostream& out) {
  const auto document = Documents::Make();
  const auto number = [&](const char* name, const std::function<void()>& call) {
    out << name << ": " << NumberOf(call) << "\n";
  };
  const auto a = document->CreateElement("a");
  const auto b = document->CreateElement("b");
  const auto foreign = Documents::Make();
  const auto c = foreign->CreateElement("c");
  number("append to null", [&] { document->AppendChild({}, a); });
  number("append null", [&] { document->AppendChild(a, {}); });
  number("append foreign", [&] { document->AppendChild(a, c); });
  number("set of null", [&] { document->SetAttribute({}, "x", ""); });
  number("attribute of null", [&] { document->Attribute({}, "x"); });
  number("child of null", [&] { document->SelectSingleNode({}, "x"); });
  number("next of null", [&] { document->NextNode({}, "x"); });
  number("descendant of null", [&] { document->NextDescendant({}, {}, "x"); });
  number("name of null", [&] { document->Name({}); });
  number("text of null", [&] { document->Xml({}); });
  document->AppendChild(a, b);
  number("append to itself", [&] { document->AppendChild(a, a); });
  number("append to a child", [&] { document->AppendChild(b, a); });
  document->SetAttribute(a, "x", "1");
  document->SetAttribute(a, "y", "2");
  const std::string_view kept = *document->Attribute(a, "x");
  document->SetAttribute(a, "x", "3");
  out << "set again: " << document->Xml(a) << ", kept " << kept << ", now "
      << *document->Attribute(a, "x") << "\n";
  const auto d = document->CreateElement("d");
  document->AppendChild(a, d);
  document->AppendChild(a, b);
  out << "moved: " << document->Xml(a) << ", root " << bool(document->Root()) << "\n";
  document->AppendChild(d, b);
  out << "moved below: " << document->Xml(a) << "\n";

  document->LoadXml(
      "<r><a i='1'><a i='2'><b i='3'/></a></a>t<b i='4'><a i='5'/></b><a i='6'/></r>");
  const auto root = document->SelectRoot("r");
  out << "other root: " << bool(document->SelectRoot("a")) << ", name " << document->Name(root)
      << "\n";
  for (const std::string_view name : {"a", "b", "r"}) {
    out << "children " << name << ":";
    for (auto at = document->SelectSingleNode(root, name); at; at = document->NextNode(at, name))
      out << " " << *document->Attribute(at, "i");
    out << "\ndescendants " << name << ":";
    for (auto at = document->NextDescendant(root, {}, name); at;
         at = document->NextDescendant(root, at, name))
      out << " " << *document->Attribute(at, "i");
    out << "\n";
  }
  const auto first = document->SelectSingleNode(root, "a");
  out << "below the first: " << bool(document->NextDescendant(first, {}, "a")) << ", same again "
      << (first == document->SelectSingleNode(root, "a")) << "\n";
  document->AppendChild(root, document->CreateElement("new"));
  out << "appended: " << document->Xml(root) << ", found "
      << bool(document->SelectSingleNode(root, "new")) << "\n";
}

// ---- many siblings

double MillisecondsOf(const std::function<void()>& call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

int Walk(int count) {
  std::string text = "<r>";
  for (int i = 0; i < count; ++i) text += "<s i=\"" + std::to_string(i) + "\"/>";
  text += "</r>";
  const auto document = Documents::Make();
  bool read = false;
  std::cout << "read " << MillisecondsOf([&] { read = document->LoadXml(text); }) << "\n";
  if (!read) return EXIT_FAILURE;
  int found = 0;
  const auto walk = [&] {
    found = 0;
    for (auto at = document->SelectSingleNode(document->Root(), "s"); at;
         at = document->NextNode(at, "s"))
      found += document->Attribute(at, "i") == std::to_string(found) ? 1 : 0;
  };
  std::cout << "walk " << MillisecondsOf(walk) << "\n";
  if (found != count) return EXIT_FAILURE;
  const auto descend = [&] {
    found = 0;
    for (auto at = document->NextDescendant(document->Root(), {}, "s"); at;
         at = document->NextDescendant(document->Root(), at, "s"))
      ++found;
  };
  std::cout << "descend " << MillisecondsOf(descend) << "\n";
  if (found != count) return EXIT_FAILURE;
  std::string written;
  const auto build = [&] {
    const auto made = Documents::Make();
    const auto root = made->CreateElement("r");
    for (int i = 0; i < count; ++i) {
      const auto sibling = made->CreateElement("s");
      made->SetAttribute(sibling, "i", std::to_string(i));
      made->AppendChild(root, sibling);
    }
    written = made->Xml(root);
  };
  std::cout << "build " << MillisecondsOf(build) << "\n";
  return written == text ? EXIT_SUCCESS : EXIT_FAILURE;
}

void Run(const std::string& path, std::ostream& out) {
  QualityDatabase database = QualityDatabase::Open(path);
  Texts texts(database, out);
  for (const auto& stream : database.Streams()) texts.OfStream(stream);
  texts.OfEvents();
  PutTexts(out);
  PutNesting(out);
  PutValues(out);
  PutOperations(out);
}

}  // namespace
}  // namespace orvspc::windows::tests

int main(int argc, char** argv) try {
  using namespace orvspc::windows::tests;
  const Documents documents;
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 2 && words[0] == "--walk") return Walk(std::stoi(words[1]));
  const bool read = words.size() == 3 && words[0] == "--read";
  if (!read && words.size() != 2) return EXIT_FAILURE;
  const orvspc::platform::Scope scope(std::make_shared<PlatformOfSystem>());
  std::ofstream out(words.back(), std::ios::binary);
  if (read) {
    std::ifstream from(words[1], std::ios::binary);
    PutAgain(from, out);
  } else {
    Run(words[0], out);
  }
  out << "end\n";
  return out.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const orvspc::Failure& failure) {
  std::cerr << failure.Source() << ": " << failure.Description() << "\n";
  return EXIT_FAILURE;
} catch (const std::exception& failure) {
  std::cerr << failure.what() << "\n";
  return EXIT_FAILURE;
}
