// SPDX-License-Identifier: MIT
// The vector object: the typed interface and IVectorKLP side by side on one state. A slot that both
// interfaces declare alike is overridden once and serves both tables. Contracts stand in
// interfaces/vector.h.
#pragma once

#include "interfaces/identifiers.h"
#include "interfaces/marshal_behaviour.h"
#include "interfaces/vector.h"
#include "module/persist/marshal_by_value.h"
#include "module/persist/nesting.h"
#include "module/persist/streams.h"
#include "module/vector/special_methods.h"
#include "module/vector/vector_elements.h"
#include "module/vector/vector_stream.h"
#include "platform/class_factory.h"
#include "platform/com_ptr.h"
#include "platform/dispatch_impl.h"

namespace rastel {

// Class: the coclass on top. T: the element type.
template <class T, class Class, class ITyped, const CLSID* ClassId, const IID* TypedId,
          const GUID* LibraryId>
class ComVector
    : public SpecialMethods<T, platform::IDispatchImpl<ITyped, LibraryId, VectorElements>>,
      public IPersistStreamInit,
      public IPersistStream,
      public IPersistPropertyBag,
      public platform::IDispatchImpl<IVectorKLP, LibraryId, VectorElements> {
  using Special = SpecialMethods<T, platform::IDispatchImpl<ITyped, LibraryId, VectorElements>>;

 public:
  using Special::get_Value;
  using Special::put_Value;
  STDMETHODIMP get_Value(LONG index, DOUBLE* value) override {
    return m_Elements.Has(index) ? this->GetDouble(index, value) : state_.BadIndex();
  }
  STDMETHODIMP put_Value(LONG index, DOUBLE value) override {
    return m_Elements.Has(index) ? this->PutDouble(index, value) : state_.BadIndex();
  }
  STDMETHODIMP get_ElementTag(LONG index, VARIANT* tag) override {
    if (!m_Elements.Has(index)) return state_.BadIndex();
    return Guard([&] { return state_.GetTag(index, tag); });
  }
  STDMETHODIMP put_ElementTag(LONG index, VARIANT tag) override {
    if (!m_Elements.Has(index)) return state_.BadIndex();
    return Guard([&] { return state_.PutTag(index, tag); });
  }
  STDMETHODIMP get_Count(LONG* count) override {
    if (!count) return E_POINTER;
    *count = m_Elements.Count();
    return *count == 0 ? S_FALSE : S_OK;
  }
  STDMETHODIMP put_Count(LONG count) override {
    return Guard([&] { return Resize(count, state_.HasTags()); });
  }
  STDMETHODIMP GetPointer(LONG* count, T** elements) override {
    if (!count || !elements) return E_POINTER;
    *count = m_Elements.Count();
    *elements = *count < 1 ? nullptr : m_Elements.Data();
    return *count < 1 ? S_FALSE : S_OK;
  }
  STDMETHODIMP GetTagPointer(LONG* count, VARIANT** tags) override {
    return state_.GetTagPointer(count, tags);
  }
  STDMETHODIMP get_HasElementTags(VARIANT_BOOL* hasTags) override {
    *hasTags = state_.m_HasElementTags;
    return S_OK;
  }
  STDMETHODIMP put_HasElementTags(VARIANT_BOOL hasTags) override {
    return Guard([&] {
      state_.SwitchTags(hasTags, m_Elements.Count());
      return S_OK;
    });
  }
  STDMETHODIMP get_ElementType(ElementTypeKLP* type) override {
    if (!type) return E_POINTER;
    *type = state_.m_ElementType;
    return S_OK;
  }
  STDMETHODIMP Clone(ITyped** clone) override {
    return Copy(CopyDepth::kShared, Message::VectorNotCloned, clone);
  }
  STDMETHODIMP DeepCopy(ITyped** copy) override {
    *copy = nullptr;
    return StreamGuard([&] { return Copy(CopyDepth::kDeep, Message::VectorNotCreated, copy); });
  }
  // These hand out the typed interface's pointer, since clients know it so.
  STDMETHODIMP Clone(IVectorKLP** clone) override {
    return Clone(reinterpret_cast<ITyped**>(clone));
  }
  STDMETHODIMP DeepCopy(IVectorKLP** copy) override {
    return DeepCopy(reinterpret_cast<ITyped**>(copy));
  }
  STDMETHODIMP Clear() override {
    return Guard([&] {
      ElementChange elements(m_Elements);
      ElementChange tags(state_.m_ElementTags);
      elements.Fill(Special::DefaultElement());
      // Whether tags are on or off.
      tags.Resize(0);
      tags.Resize(m_Elements.Count());
      return S_OK;
    });
  }
  STDMETHODIMP Fill(DOUBLE value) override {
    return Guard([&] {
      ElementChange(m_Elements).Fill(Special::ElementOf(value));
      return S_OK;
    });
  }
  STDMETHODIMP ResizeAll(LONG count) override {
    return Guard([&] { return Resize(count, true); });
  }
  STDMETHODIMP SetCount(LONG count) override { return this->put_Count(count); }

  // IPersistStream and IPersistStreamInit.
  STDMETHODIMP GetClassID(CLSID* classId) override {
    *classId = *ClassId;
    return S_OK;
  }
  // A vector counts as changed at all times.
  STDMETHODIMP IsDirty() override { return S_OK; }
  STDMETHODIMP InitNew() override { return S_OK; }
  STDMETHODIMP Load(IStream* stream) override {
    // The stream and what the vector held may drop the last reference.
    const platform::ComPtr<IUnknown> held(static_cast<ITyped*>(this));
    return StreamGuard([&] { return LoadVector(state_, m_Elements, stream); });
  }
  STDMETHODIMP Save(IStream* stream, BOOL) override {
    return StreamGuard([&] { return SaveVector(state_, m_Elements, stream); });
  }
  // S_OK also where a Save would fail: what it would have written until then.
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER* bytes) override {
    return StreamGuard([&] {
      CNullDeviceStream counter;
      SaveVector(state_, m_Elements, &counter);
      bytes->QuadPart = counter.Count();
      return S_OK;
    });
  }

  // IPersistPropertyBag moves no data, although the object answers it.
  STDMETHODIMP Load(IPropertyBag*, IErrorLog*) override { return S_OK; }
  STDMETHODIMP Save(IPropertyBag*, BOOL, BOOL) override { return S_OK; }

 protected:
  explicit ComVector(ElementTypeKLP type) noexcept : Special(*ClassId, type) {}
  ~ComVector() = default;

  template <class Body>
  static HRESULT Guard(Body&& body) noexcept {
    return Guarded(*ClassId, std::forward<Body>(body));
  }
  // For what calls objects in the vector with a stream.
  template <class Body>
  static HRESULT StreamGuard(Body&& body) noexcept {
    const OperationLevel level;
    return FAILED(level.Result()) ? level.Result() : Guard(std::forward<Body>(body));
  }

  // At the end of the vector, which still stands then: objects in values may come back to it and
  // put new ones.
  void ReleaseValues() noexcept {
    if (m_Elements.OwnsNothing() && state_.m_ElementTags.OwnsNothing()) return;
    do {
      ElementChange elements(m_Elements);
      ElementChange tags(state_.m_ElementTags);
      elements.Resize(0);
      tags.Resize(0);
    } while (m_Elements.Count() > 0 || state_.m_ElementTags.Count() > 0);
  }

 private:
  using Special::m_Elements;
  using Special::state_;

  HRESULT Resize(LONG count, bool withTags) {
    ElementChange elements(m_Elements);
    ElementChange tags(state_.m_ElementTags);
    const LONG wanted = (std::max)(count, LONG{0});
    elements.Resize(wanted);
    if (withTags || wanted == 0) tags.Resize(wanted);
    return S_OK;
  }

  HRESULT Copy(CopyDepth depth, Message failure, ITyped** out) noexcept {
    *out = nullptr;
    return Guard([&] {
      platform::CComObject<Class>* copy = nullptr;
      if (FAILED(platform::CComObject<Class>::CreateInstance(&copy))) {
        return Report(*ClassId, failure);
      }
      copy->AddUnsharedReference();
      platform::ComPtr<ITyped> owner;
      owner.Attach(copy);
      static_cast<ComVector*>(copy)->CopyFrom(*this, depth);
      *out = owner.Detach();
      return S_OK;
    });
  }

  // Into a new object.
  void CopyFrom(const ComVector& source, CopyDepth depth) {
    CopyElements(m_Elements, source.m_Elements, depth);
    if (!source.state_.HasTags()) return;
    state_.SwitchTags(VARIANT_TRUE, m_Elements.Count());
    CopyElements(state_.m_ElementTags, source.state_.m_ElementTags, depth);
  }
};

// The coclass. Its template arguments are its row: element type, element type of the unsigned kind
// for Char, typed interface, element type code, identifiers of interface, class and library.
template <class T, class S, class ITyped, ElementTypeKLP Code, const IID* TypedId,
          const CLSID* ClassId, const GUID* LibraryId>
class CCoRastelVector
    : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
      public platform::CComCoClass<CCoRastelVector<T, S, ITyped, Code, TypedId, ClassId, LibraryId>,
                                   ClassId>,
      public CMarshalByValue,
      public ISupportErrorInfo,
      public platform::IDispatchImpl<IMarshalBehaviourKLP, LibraryId>,
      public ComVector<T, CCoRastelVector<T, S, ITyped, Code, TypedId, ClassId, LibraryId>, ITyped,
                       ClassId, TypedId, LibraryId> {
  static_assert(sizeof(T) == sizeof(S));

  using Vector = ComVector<T, CCoRastelVector, ITyped, ClassId, TypedId, LibraryId>;

 public:
  CCoRastelVector() noexcept : Vector(Code) {}

  static platform::QueryTable GetQueryTable() noexcept {
    using platform::DirectRow;
    static constexpr platform::QueryRow kRows[] = {
        DirectRow<CCoRastelVector, IVectorKLP>(),
        DirectRow<CCoRastelVector, ITyped>(),
        DirectRow<CCoRastelVector, IDispatch, ITyped>(),
        DirectRow<CCoRastelVector, ISupportErrorInfo>(),
        DirectRow<CCoRastelVector, IPersistStream>(),
        DirectRow<CCoRastelVector, IPersistStreamInit>(),
        DirectRow<CCoRastelVector, IPersistPropertyBag>(),
        DirectRow<CCoRastelVector, IMarshal>(),
        DirectRow<CCoRastelVector, IPersist, IPersistStreamInit>(),
        DirectRow<CCoRastelVector, IMarshalBehaviourKLP>()};
    return kRows;
  }

  // The typed interface alone, not the generic one.
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override {
    return IsEqualIID(iid, *TypedId) ? S_OK : S_FALSE;
  }

  STDMETHODIMP get_MarshalBehaviour(MarshalBehaviourKLP* behaviour) override {
    if (!behaviour) return E_POINTER;
    *behaviour = m_MarshalBehaviour;
    return S_OK;
  }
  STDMETHODIMP put_MarshalBehaviour(MarshalBehaviourKLP behaviour) override {
    if (behaviour != MarshalByReference && behaviour != MarshalByValue) {
      return ReportErrorText(*ClassId, "not implemented marshal behaviour");
    }
    m_MarshalBehaviour = behaviour;
    return S_OK;
  }

  HRESULT FinalConstruct(IUnknown* controllingUnknown) noexcept {
    return CreateMarshaler(controllingUnknown);
  }
  void FinalRelease() noexcept { ReleaseMarshaler(); }
  void ReleaseContent() noexcept { this->ReleaseValues(); }
};

}  // namespace rastel
