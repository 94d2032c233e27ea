// SPDX-License-Identifier: Apache-2.0
// What the component costs beside the plain classes, in one process:
//   bench_component.exe [ROUNDS [SUBGROUPS]]
// - a chart of 100,000 subgroups of five through the registered component, late bound, and by the
//   plain classes over the embedded engine, in turn: the median ratio of the times
// - 20,000 late-bound reads of a property, and of the same property with an empty body on the same
//   base, in turn, by twenty: the medians and their ratio
// The data are made once, in component.db of the folder of temporary files. Prints MISMATCH where
// the two charts differ.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/rounds.h"
#include "chart/CCAnalysis.h"
#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"
#include "host/windows/com/ServerTable.h"
#include "host/windows/generated/orvSPCAnalysis6_adapters.h"

// A selection one of whose properties has an empty body, on the same base.
namespace orvspc::windows {

class EmptySelection final : public DataSelectAdapter {
 public:
  using DataSelectAdapter::DataSelectAdapter;
  STDMETHODIMP get_MaximumItems(LONG* result) override {
    *result = 0;
    return S_OK;
  }
};

}  // namespace orvspc::windows

namespace {

namespace fs = std::filesystem;

// --- Late binding --------------------------------------------------------------------------------

void Succeed(HRESULT result, const std::string& what) {
  if (FAILED(result)) throw std::runtime_error(what + " gave " + std::to_string(result));
}

// A member of an object by its name.
class Late {
 public:
  explicit Late(IDispatch* object) : object_(object, [](IDispatch* held) { held->Release(); }) {}
  static Late Create(const wchar_t* prog_id) {
    CLSID id;
    Succeed(::CLSIDFromProgID(prog_id, &id), "CLSIDFromProgID");
    IDispatch* object = nullptr;
    Succeed(::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                               reinterpret_cast<void**>(&object)),
            "CoCreateInstance");
    return Late(object);
  }

  IDispatch* Get() const { return object_.get(); }

  DISPID Find(const wchar_t* member) const {
    auto name = const_cast<LPOLESTR>(member);
    DISPID id = 0;
    Succeed(object_->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), "GetIDsOfNames");
    return id;
  }
  VARIANT Invoke(DISPID id, WORD kind, std::span<VARIANT> reversed = {}) const {
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
    if (kind == DISPATCH_PROPERTYPUT) {
      parameters.rgdispidNamedArgs = &put;
      parameters.cNamedArgs = 1;
    }
    VARIANT result;
    ::VariantInit(&result);
    Succeed(object_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters, &result, nullptr,
                            nullptr),
            "Invoke");
    return result;
  }
  template <class... Values>
  VARIANT Call(const wchar_t* member, Values... values) const {
    VARIANT arguments[sizeof...(values) + 1] = {ValueOf(values)...};
    const auto given = std::span(arguments).first(sizeof...(values));
    std::reverse(given.begin(), given.end());
    const auto result = Invoke(Find(member), DISPATCH_METHOD | DISPATCH_PROPERTYGET, given);
    for (auto& each : given)
      if (each.vt == VT_BSTR) ::VariantClear(&each);
    return result;
  }
  template <class... Values>
  Late Object(const wchar_t* member, Values... values) const {
    return Late(Call(member, values...).pdispVal);
  }
  void Let(const wchar_t* member, std::int32_t value) const {
    VARIANT argument = ValueOf(value);
    Invoke(Find(member), DISPATCH_PROPERTYPUT, {&argument, 1});
  }

 private:
  static VARIANT ValueOf(std::int32_t number) {
    VARIANT value;
    value.vt = VT_I4;
    value.lVal = number;
    return value;
  }
  static VARIANT ValueOf(const Late& object) {
    VARIANT value;
    value.vt = VT_DISPATCH;
    value.pdispVal = object.Get();
    return value;
  }
  static VARIANT ValueOf(const wchar_t* text) {
    VARIANT value;
    value.vt = VT_BSTR;
    value.bstrVal = ::SysAllocString(text);
    return value;
  }

  std::shared_ptr<IDispatch> object_;
};

// --- The two programs ----------------------------------------------------------------------------

struct Figures {
  std::int32_t points = 0, beyond = 0;
  double mean = 0.0, limit = 0.0;
  friend bool operator==(const Figures&, const Figures&) = default;
};

Figures Plain(const std::shared_ptr<orvspc::EmbeddedDatabase>& database, std::int32_t most) {
  const auto select = std::make_shared<orvspc::DataSelect>();
  select->MaximumItems(most);
  select->Descriptors()->Add(orvspc::dtPart)->AddItemID(1);
  const auto processing = std::make_shared<orvspc::CCProcessing>();
  processing->Graph1Type(orvspc::ccGraph1XBar);
  processing->Graph2Type(orvspc::ccGraph2Range);
  const auto results = orvspc::CCAnalysis().AnalyzeDataSelect(database, select, processing);
  const auto points = results->Graphs(orvspc::ccGraphType1)->GraphData();
  Figures figures{points->Count(), 0, results->MeanEstimate(), points->cUCL()};
  const auto signals = points->GetcOOCs();
  for (const auto each : *signals) figures.beyond += (each & 2) != 0 ? 1 : 0;  // rule 1
  return figures;
}

Figures ThroughComponent(const Late& database, std::int32_t most) {
  const auto select = Late::Create(L"orvSPCAnalysis6.DataSelect");
  select.Let(L"MaximumItems", most);
  select.Object(L"Descriptors").Object(L"Add", std::int32_t{orvspc::dtPart}).Call(L"AddItemID", 1);
  const auto processing = Late::Create(L"orvSPCAnalysis6.CCProcessing");
  processing.Let(L"Graph1Type", orvspc::ccGraph1XBar);
  processing.Let(L"Graph2Type", orvspc::ccGraph2Range);
  const auto results = Late::Create(L"orvSPCAnalysis6.CCAnalysis")
                           .Object(L"AnalyzeDataSelect", database, select, processing);
  const auto points =
      results.Object(L"Graphs", std::int32_t{orvspc::ccGraphType1}).Object(L"GraphData");
  Figures figures{points.Call(L"Count").lVal, 0, results.Call(L"MeanEstimate").dblVal,
                  points.Call(L"cUCL").dblVal};
  auto signals = points.Call(L"GetcOOCs");
  const std::span all(static_cast<const LONG*>(signals.parray->pvData),
                      signals.parray->rgsabound[0].cElements);
  for (const auto each : all) figures.beyond += (each & 2) != 0 ? 1 : 0;
  ::VariantClear(&signals);
  return figures;
}

void WriteCsv(const fs::path& path, std::int32_t subgroups) {
  std::ofstream out(path, std::ios::binary);
  out << "part,process,test,subgroup,time,value\n";
  std::mt19937_64 random(20240917);
  std::normal_distribution<double> noise(25.0, 0.02);
  for (std::int32_t i = 0; i < subgroups; ++i) {
    const std::chrono::sys_seconds time{std::chrono::seconds{1'600'000'000 + i * 60}};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{time - day};
    for (int j = 0; j < 5; ++j) {
      char line[96];
      std::snprintf(line, sizeof line, "P,R,T,%d,%04d-%02u-%02uT%02d:%02d:%02d,%.4f\n", i + 1,
                    static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                    static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                    static_cast<int>(clock.minutes().count()),
                    static_cast<int>(clock.seconds().count()), noise(random));
      out << line;
    }
  }
}

std::string Utf8(const fs::path& path) {
  const auto text = path.u8string();
  return {text.begin(), text.end()};
}

void Charts(int rounds, std::int32_t subgroups) {
  const auto folder = fs::temp_directory_path();
  const auto file = folder / L"component.db", csv = folder / L"component.csv";
  for (const char* tail : {"", "-wal", "-shm"}) fs::remove(file.string() + tail);
  WriteCsv(csv, subgroups);
  orvspc::QualityDatabase::ImportInto(Utf8(file), Utf8(csv), orvspc::ImportKind::Values);
  const auto database = orvspc::OpenDatabase(Utf8(file));
  const auto of_component = Late::Create(L"orvEngine.Database");
  of_component.Call(L"Open", file.c_str());
  Figures plain, product;
  bench::Pair pair;
  pair.Round([&] { plain = Plain(database, subgroups); },
             [&] { product = ThroughComponent(of_component, subgroups); });
  pair = {};  // the first round fills the caches
  for (int i = 0; i < rounds; ++i) {
    pair.Round([&] { plain = Plain(database, subgroups); },
               [&] { product = ThroughComponent(of_component, subgroups); });
  }
  if (!(plain == product) || plain.points != subgroups) {
    std::printf("MISMATCH plain %d %d %.12g %.12g component %d %d %.12g %.12g\n", plain.points,
                plain.beyond, plain.mean, plain.limit, product.points, product.beyond, product.mean,
                product.limit);
  }
  std::printf("%-34s plain %9.2f ms   component %9.2f ms   ratio %.3f (%.3f..%.3f)\n",
              ("chart of " + std::to_string(subgroups)).c_str(), bench::Median(pair.plain),
              bench::Median(pair.product), bench::Median(pair.ratio), bench::Least(pair.ratio),
              *std::ranges::max_element(pair.ratio));
}

// --- A property ----------------------------------------------------------------------------------

constexpr int kBlocks = 1'000, kReadsOfBlock = 20;  // the clock counts in tenths of a microsecond

// Microseconds a read; with the lookup of the name, as a script does, or without.
double TimeOf(const Late& object, DISPID id, bool by_name) {
  const double block = bench::Milliseconds([&] {
    for (int i = 0; i < kReadsOfBlock; ++i)
      object.Invoke(by_name ? object.Find(L"MaximumItems") : id, DISPATCH_PROPERTYGET);
  });
  return 1e3 * block / kReadsOfBlock;
}

// The component's own code, linked into this program.
void Properties() {
  namespace windows = orvspc::windows;
  auto& row = *std::ranges::find(windows::com::kServer.classes, &IID_IDataSelect,
                                 &windows::com::Class::interface_id);
  const Late select(row.create());
  const Late empty(new windows::EmptySelection(row, std::make_shared<orvspc::DataSelect>()));
  const auto id = select.Find(L"MaximumItems");
  for (const bool by_name : {false, true}) {
    std::vector<double> of_select, of_empty;
    for (int i = 0; i < kBlocks; ++i) {
      of_empty.push_back(TimeOf(empty, id, by_name));
      of_select.push_back(TimeOf(select, id, by_name));
    }
    const auto without = bench::Median(of_empty), with = bench::Median(of_select);
    std::printf("%-34s empty %9.3f us   component %9.3f us   ratio %.3f\n",
                by_name ? "property, by name" : "property, by identifier", without, with,
                with / without);
  }
}

}  // namespace

int main(int count, char** arguments) {
  const int rounds = count > 1 ? std::atoi(arguments[1]) : 9;
  const std::int32_t subgroups = count > 2 ? std::atoi(arguments[2]) : 100'000;
  try {
    Succeed(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "CoInitializeEx");
    Properties();
    orvspc::InstallEmbedded();
    Charts(rounds, subgroups);
    ::CoUninitialize();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench_component: %s\n", failure.what());
    return 1;
  }
  return 0;
}
