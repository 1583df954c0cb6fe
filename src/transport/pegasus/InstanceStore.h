#pragma once

#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <Pegasus/Common/CIMInstance.h>

namespace Pegasus::Detail {

/// What a property has in common with its namesakes in other instances.
struct PropertyType {
  CIMName name;
  CIMType type = CIMTYPE_STRING;
  bool isArray = false;
  std::vector<CIMConstQualifier> qualifiers;
};

/// One instance inside the memory of its store: this head, where each value ends, the type of each value, and then
/// the texts, each followed by a NUL: the path and the values in their stored form.
struct InstanceRecord {
  /// Set in an end when the value is null. A store never holds as many bytes.
  static constexpr Uint32 kNull = 0x80000000U;

  Uint32 propertyCount;
  Uint32 pathSize;

  Uint16 TypeNumber(Uint32 index) const noexcept { return TypeNumbers()[index]; }
  std::string_view Path() const noexcept { return {Texts(), pathSize}; }
  std::string_view Value(Uint32 index) const noexcept;
  bool IsNull(Uint32 index) const noexcept { return (Ends()[index] & kNull) != 0; }

 private:
  friend class InstanceStore;

  static std::size_t Size(std::size_t properties, std::size_t textBytes) noexcept {
    return sizeof(InstanceRecord) + properties * (sizeof(Uint32) + sizeof(Uint16)) + textBytes;
  }
  const Uint32* Ends() const noexcept { return reinterpret_cast<const Uint32*>(this + 1); }
  const Uint16* TypeNumbers() const noexcept { return reinterpret_cast<const Uint16*>(Ends() + propertyCount); }
  const char* Texts() const noexcept { return reinterpret_cast<const char*>(TypeNumbers() + propertyCount); }
};

/// An instance while its reply is read; its memory is used again for the next one.
struct InstanceDraft {
  std::string path;
  std::string texts;
  std::vector<Uint32> ends;
  std::vector<Uint16> typeNumbers;

  void AddProperty(Uint16 typeNumber, std::string_view stored, bool isNull);
  void Clear() noexcept;
};

/// The instances of one reply, packed into large pieces of memory that go all at once.
class InstanceStore {
 public:
  const InstanceRecord* Add(const InstanceDraft& draft);

  const PropertyType& Type(Uint16 number) const noexcept { return types_[number]; }
  std::size_t TypeCount() const noexcept { return types_.size(); }
  /// `nameBytes` are those of the name and the qualifiers, wherever they are kept.
  Uint16 AddType(PropertyType type, std::size_t nameBytes);
  /// What is kept so far.
  std::size_t Bytes() const noexcept { return bytes_; }

 private:
  char* Allocate(std::size_t size);

  std::vector<std::unique_ptr<char[]>> pieces_;
  char* free_ = nullptr;
  std::size_t freeSize_ = 0;
  std::size_t bytes_ = 0;
  std::deque<PropertyType> types_;
};

/// Gives properties of one type one number. Instances mostly repeat the types of the instance before them, in the
/// same order; so the type after the last one is tried first.
class PropertyTypeTable {
 public:
  static constexpr std::size_t kMax = 0xFFFF;
  static constexpr std::size_t kMaxQualifiers = 100'000;

  explicit PropertyTypeTable(InstanceStore& store) : store_(store) {}

  void StartInstance() noexcept { guess_ = 0; }
  /// False when the reply holds too many types or qualifiers. `name` must be legal.
  bool Find(std::string_view name, CIMType type, bool isArray, std::vector<CIMConstQualifier>& qualifiers,
            Uint16& number);

 private:
  bool Fits(Uint16 number, std::string_view name, CIMType type, bool isArray) const noexcept;

  InstanceStore& store_;
  std::unordered_map<std::string, Uint16> numbers_;
  std::string key_;
  std::size_t guess_ = 0;
  std::size_t qualifierCount_ = 0;
};

}  // namespace Pegasus::Detail
