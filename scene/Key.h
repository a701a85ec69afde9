#pragma once
// A handle of a database entity. Copies share the entity; two handles of
// one entity compare equal and hash alike, whatever class they were made
// as. A handle of a deleted entity stays safe to use: it compares unequal
// to every live entity, Empty() is true and its Show calls find nothing.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "scene/Object.h"

namespace KZV {

namespace detail {
struct Entity;
struct KeyAccess;
}  // namespace detail

class Key : public Object {
 public:
  Key() = default;

  // The code of the entity, also after its deletion; 0 for no entity.
  uint32_t Type() const override { return type_; }
  int64_t GetInstanceID() const override { return static_cast<int64_t>(id_); }
  bool Empty() const override { return entity_.expired(); }
  uint64_t GetHash() const;
  bool operator==(Key const& other) const { return id_ == other.id_; }
  bool operator!=(Key const& other) const { return id_ != other.id_; }

  // Removes the entity, and everything it owns, from the database.
  void Delete();

 protected:
  explicit Key(std::shared_ptr<detail::Entity> const& entity);

 private:
  friend struct detail::KeyAccess;
  std::weak_ptr<detail::Entity> entity_;
  uint64_t id_ = 0;
  uint32_t type_ = 0;
};

using KeyArray = std::vector<Key>;

}  // namespace KZV

template <>
struct std::hash<KZV::Key> {
  size_t operator()(KZV::Key const& k) const { return static_cast<size_t>(k.GetHash()); }
};
