#include "transport/pegasus/InstanceStore.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "transport/pegasus/ValueCodec.h"

namespace Pegasus {

namespace Detail {

namespace {

/// Below the size from which malloc gives whole pages.
constexpr std::size_t kPieceSize = 64U * 1024 - 64;

std::size_t AlignedSize(std::size_t size) noexcept {
  constexpr std::size_t kAlignment = alignof(InstanceRecord);
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

}  // namespace

std::string_view InstanceRecord::Value(Uint32 index) const noexcept {
  const Uint32 start = (index == 0 ? pathSize : Ends()[index - 1] & ~kNull) + 1;
  return {Texts() + start, (Ends()[index] & ~kNull) - start};
}

void InstanceDraft::AddProperty(Uint16 typeNumber, std::string_view stored, bool isNull) {
  texts.append(stored);
  ends.push_back(static_cast<Uint32>(texts.size()) | (isNull ? InstanceRecord::kNull : 0));
  typeNumbers.push_back(typeNumber);
  texts += '\0';
}

void InstanceDraft::Clear() noexcept {
  path.clear();
  texts.clear();
  ends.clear();
  typeNumbers.clear();
}

char* InstanceStore::Allocate(std::size_t size) {
  size = AlignedSize(size);
  if (size > freeSize_) {
    const std::size_t pieceSize = std::max(size, kPieceSize);
    pieces_.push_back(std::make_unique_for_overwrite<char[]>(pieceSize));
    free_ = pieces_.back().get();
    freeSize_ = pieceSize;
    bytes_ += pieceSize;
  }
  char* const taken = free_;
  free_ += size;
  freeSize_ -= size;
  return taken;
}

const InstanceRecord* InstanceStore::Add(const InstanceDraft& draft) {
  const std::size_t count = draft.ends.size();
  const std::size_t pathBytes = draft.path.size() + 1;
  char* out = Allocate(InstanceRecord::Size(count, pathBytes + draft.texts.size()));
  const auto* record = new (out) InstanceRecord{static_cast<Uint32>(count), static_cast<Uint32>(draft.path.size())};
  out += sizeof(InstanceRecord);
  for (const Uint32 end : draft.ends) {
    const Uint32 shifted = end + static_cast<Uint32>(pathBytes);
    std::memcpy(out, &shifted, sizeof shifted);
    out += sizeof shifted;
  }
  out = std::copy_n(reinterpret_cast<const char*>(draft.typeNumbers.data()), count * sizeof(Uint16), out);
  out = std::copy_n(draft.path.c_str(), pathBytes, out);
  std::copy(draft.texts.begin(), draft.texts.end(), out);
  return record;
}

Uint16 InstanceStore::AddType(PropertyType type, std::size_t nameBytes) {
  bytes_ += sizeof type + type.qualifiers.size() * sizeof(CIMConstQualifier) + nameBytes;
  types_.push_back(std::move(type));
  return static_cast<Uint16>(types_.size() - 1);
}

bool PropertyTypeTable::Fits(Uint16 number, std::string_view name, CIMType type, bool isArray) const noexcept {
  const PropertyType& known = store_.Type(number);
  return known.type == type && known.isArray == isArray && known.qualifiers.empty() &&
         known.name.getString().View() == name;
}

bool PropertyTypeTable::Find(std::string_view name, CIMType type, bool isArray,
                             std::vector<CIMConstQualifier>& qualifiers, Uint16& number) {
  if (qualifiers.empty() && guess_ < store_.TypeCount() && Fits(static_cast<Uint16>(guess_), name, type, isArray)) {
    number = static_cast<Uint16>(guess_++);
    return true;
  }
  key_.assign(name).append(1, '\0').append(1, static_cast<char>(type)).append(1, isArray ? '\1' : '\0');
  for (const CIMConstQualifier& qualifier : qualifiers) {
    AppendElement(qualifier.getName().getString().View(), key_);
    AppendElement(qualifier.getValue().Stored(), key_);
  }
  const auto found = numbers_.find(key_);
  if (found != numbers_.end()) {
    number = found->second;
  } else {
    qualifierCount_ += qualifiers.size();
    if (numbers_.size() == kMax || qualifierCount_ > kMaxQualifiers) {
      return false;
    }
    number = store_.AddType({CIMName(String(name)), type, isArray, std::move(qualifiers)}, 2 * key_.size());
    numbers_.emplace(key_, number);
  }
  guess_ = number + std::size_t{1};
  return true;
}

}  // namespace Detail

namespace {

/// The memory that the path of an instance shares is its store.
const Detail::InstanceStore& StoreOf(const CIMObjectPath& path) noexcept {
  return *static_cast<const Detail::InstanceStore*>(path.Shared().owner.get());
}

}  // namespace

const CIMName& CIMConstProperty::getName() const noexcept {
  static const CIMName kNone;
  return propertyType_ == nullptr ? kNone : propertyType_->name;
}

Uint32 CIMConstProperty::getQualifierCount() const noexcept {
  return propertyType_ == nullptr ? 0 : static_cast<Uint32>(propertyType_->qualifiers.size());
}

Uint32 CIMConstProperty::findQualifier(const CIMName& name) const noexcept {
  for (Uint32 i = 0; i < getQualifierCount(); ++i) {
    if (propertyType_->qualifiers[i].getName() == name) {
      return i;
    }
  }
  return PEG_NOT_FOUND;
}

CIMConstQualifier CIMConstProperty::getQualifier(Uint32 index) const {
  if (index >= getQualifierCount()) {
    throw IndexOutOfBoundsException();
  }
  return propertyType_->qualifiers[index];
}

Uint32 CIMInstance::getPropertyCount() const noexcept {
  return record_ == nullptr ? 0 : record_->propertyCount;
}

Uint32 CIMInstance::findProperty(const CIMName& name) const noexcept {
  for (Uint32 i = 0; i < getPropertyCount(); ++i) {
    if (StoreOf(path_).Type(record_->TypeNumber(i)).name == name) {
      return i;
    }
  }
  return PEG_NOT_FOUND;
}

CIMConstProperty CIMInstance::getProperty(Uint32 index) const {
  if (index >= getPropertyCount()) {
    throw IndexOutOfBoundsException();
  }
  const Detail::PropertyType& type = StoreOf(path_).Type(record_->TypeNumber(index));
  return {type,
          CIMValue({path_.Shared().owner, record_->Value(index)}, type.type, type.isArray, record_->IsNull(index))};
}

CIMProperty CIMInstance::getProperty(Uint32 index) {
  const CIMConstProperty property = std::as_const(*this).getProperty(index);
  return CIMProperty(property);
}

}  // namespace Pegasus
