#pragma once
// The product structure of a converted scene: a tree of named group nodes
// with bodies that stand for instances, stored in the model as keyed data
// (a head in the metadata block, one block per group node).
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/Types.h"

namespace QX::Store {
class Model;
}

namespace KZV {

class AssemblyTree {
 public:
  void CreateRoot(uint32_t& id);
  void CreateChild(uint32_t parent, uint32_t& id);
  void CreateBody(uint32_t parent, uint32_t& id);
  void SetName(uint32_t id, char const* text);
  void SetBodyInstance(uint32_t id, QX::Store::InstanceInc instance);

  // Stores the tree; nothing without a root.
  void Write(QX::Store::Model& model);

 private:
  struct Node {
    std::string name;
    std::vector<uint32_t> children;
    std::vector<uint32_t> bodies;
    QX::Store::InstanceKey instance = 0;
  };

  uint32_t NewNode();
  QX::Store::DataKey WriteNode(QX::Store::Model& model, uint32_t id, uint32_t depth);
  void AppendBody(std::vector<uint8_t>& out, uint32_t id) const;

  uint32_t next_id_ = 0;
  uint32_t root_ = 0xFFFFFFFFu;
  std::unordered_map<uint32_t, Node> nodes_;
};

}  // namespace KZV
