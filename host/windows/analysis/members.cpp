// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "frame/Array.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "host/windows/com/Enumeration.h"
#include "host/windows/com/LateBound.h"
#include "host/windows/generated/orvSPCAnalysis6_adapters.h"

// The members whose arguments are more than values: records, arrays by reference, nodes, and the
// enumerator.
namespace orvspc::windows {
namespace {

static_assert(sizeof(::API_DSInfo) == sizeof(API_DSInfo));

template <class T>
T& Given(T* argument) {
  if (argument == nullptr) com::Fail(E_POINTER, "Missing argument");
  return *argument;
}

// A host's record while a call works on it; written back afterwards, whether it failed or not.
class Record {
 public:
  explicit Record(::API_DSInfo* host) : host_(Given(host)) {
    std::memcpy(&info_, &host_, sizeof info_);
  }
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;
  ~Record() { std::memcpy(&host_, &info_, sizeof info_); }

  operator API_DSInfo&() { return info_; }  // NOLINT: implicit, for the call

 private:
  ::API_DSInfo& host_;
  API_DSInfo info_{};
};

struct Cells {
  Array<std::int32_t> values;
  LONG lower = 0;
};

// A copy of an array of 32-bit integers; a null one, and one of no dimension, was never
// dimensioned. Fails with 13 for another array.
Cells TakeCells(SAFEARRAY* host) {
  Cells cells;
  if (host == nullptr || SafeArrayGetDim(host) == 0) return cells;
  if (SafeArrayGetDim(host) != 1 || SafeArrayGetElemsize(host) != sizeof(std::int32_t))
    com::FailTypeMismatch();
  LONG upper = 0;
  com::Check(SafeArrayGetLBound(host, 1, &cells.lower));
  com::Check(SafeArrayGetUBound(host, 1, &upper));
  if (upper < cells.lower) return cells;
  cells.values.Dimension(0, std::int64_t{upper} - cells.lower);
  void* data = nullptr;
  com::Check(SafeArrayAccessData(host, &data));
  std::memcpy(cells.values.Elements().data(), data, cells.values.Elements().size_bytes());
  com::Check(SafeArrayUnaccessData(host));
  return cells;
}

// Fails with 10 where the host's array cannot be replaced: it is locked, or its memory is a part of
// something else.
void NeedReplaceable(const SAFEARRAY* host) {
  constexpr USHORT kElsewhere = FADF_AUTO | FADF_STATIC | FADF_EMBEDDED | FADF_FIXEDSIZE;
  if (host != nullptr && ((host->fFeatures & kElsewhere) != 0 || host->cLocks != 0))
    com::Fail(10, "This array is fixed or locked");
}

void StoreCells(SAFEARRAY*& host, const Array<std::int32_t>& cells) {
  const auto elements = cells.Elements();
  SAFEARRAY* const made =
      com::MakeArray(VT_I4, elements.data(), elements.size(), sizeof(std::int32_t));
  const HRESULT destroyed = host == nullptr ? S_OK : SafeArrayDestroy(host);
  if (FAILED(destroyed)) SafeArrayDestroy(made);
  com::Check(destroyed);
  host = made;
}

// A copy of a node of whatever document, by its text; null for null.
platform::XmlNode CopyOf(IDispatch* node, platform::XmlDocument& document) {
  if (node == nullptr) return {};
  const com::LateBound host(node);
  const auto xml = host.Find(u"xml");
  if (!xml) com::FailTypeMismatch();
  com::Value text;
  host.Invoke(*xml, {DISPATCH_PROPERTYGET}, {}, text);
  if (text.Get().vt != VT_BSTR) com::FailTypeMismatch();
  document.LoadXml(com::FromBstr(text.Get().bstrVal));
  return document.Root();
}

}  // namespace

STDMETHODIMP DataSelectAdapter::API_GetData(::API_DSInfo* ds_info, SAFEARRAY** ds_filter,
                                            VARIANT_BOOL* result) {
  return Get(result, [&](auto& o) {
    Record info(ds_info);
    SAFEARRAY*& cells = Traced(
        "DataSelect.API_GetData", [&]() -> auto& { return Given(ds_filter); });
    Array<std::int32_t> filter;
    const bool done = o.API_GetData(info, filter);
    // Deliberate: the record is filled where the array cannot be.
    Traced("DataSelect.API_GetData", [&] { NeedReplaceable(cells); });
    StoreCells(cells, filter);
    return done;
  });
}

STDMETHODIMP DataSelectAdapter::API_SetData(::API_DSInfo* ds_info, SAFEARRAY** ds_filter,
                                            VARIANT_BOOL* result) {
  return Get(result, [&](auto& o) {
    Record info(ds_info);
    const auto cells =
        Traced("DataSelect.API_SetData", [&] { return TakeCells(Given(ds_filter)); });
    return o.API_SetData(Friend{}, info, cells.values, cells.lower);
  });
}

STDMETHODIMP DataSelectDescriptorsAdapter::get_NewEnum(IUnknown** result) {
  return Get(result, [](auto& o) {
    std::vector<com::Pointer<IDispatch>> objects;
    for (const std::shared_ptr<DataSelectDescriptor>& descriptor : o)
      *objects.emplace_back().Receive() = com::AdapterOf<::IDataSelectDescriptor>::Of(descriptor);
    return com::MakeEnumeration(std::move(objects));
  });
}

STDMETHODIMP CCResultsAdapter::SetXMLNode(IDispatch* node, VARIANT_BOOL* result) {
  return Get(result, [&](auto& o) {
    const auto document = XMLSupport::MakeXMLDocument();
    const auto copy = Traced("CCResults.SetXMLNode", [&] { return CopyOf(node, *document); });
    return o.SetXMLNode(copy);
  });
}

}  // namespace orvspc::windows
