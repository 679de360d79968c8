// SPDX-License-Identifier: MIT
#include "python/core/quiet.h"

#include <algorithm>

namespace rastel_python {
namespace {

using rastelklp::Object;
using rastelklp::Value;

bool IsObject(const Value& value) { return std::holds_alternative<Object>(value); }

}  // namespace

Quiet::Quiet(Object object) : object_(std::move(object)) {
  if (const auto aoi = object_.try_as<rastelklp::AnyAoi>()) {
    rastelklp::AnyAoi sibling = aoi.clone();
    ShareClientData(aoi, sibling);
    object_ = sibling;
    mayOthersRun_ = !IsObject(sibling.tag());
    if (const rastelklp::Map map = aoi.attributes()) {
      const auto entries = map.entries();
      mayOthersRun_ &= std::none_of(entries.begin(), entries.end(),
                                    [](const auto& entry) { return IsObject(entry.second); });
      if (mayOthersRun_) {
        rastelklp::Map copy(nullptr);
        rastelklp::check_hresult(map->Clone(copy.put()));
        sibling.attributes(copy);
      }
    }
  } else if (auto vector = object_.try_as<IVectorKLP>()) {
    pinned_.emplace(std::move(vector));
    Pin(*pinned_);
    LONG tags = 0;
    VARIANT* first = nullptr;
    rastelklp::check_hresult(pinned_->vector->GetTagPointer(&tags, &first));
    mayOthersRun_ = tags == 0 && pinned_->type->code != ElementVariant;
  }
}

Quiet::~Quiet() {
  if (pinned_) Unpin(*pinned_);
}

}  // namespace rastel_python
