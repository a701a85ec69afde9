// The converter's side of the assembly tree: a segment that passes the
// segment filter opens a cell on the node stack while its children are
// walked; the cell makes the segment's node only when an instance below it
// needs one, so that branches without geometry leave no node.
#include <cstdio>

#include "conversion/SceneConverter.h"

namespace KZV {

void SceneConverter::OpenAssemblyNode(SegmentKey const& segment) {
  if (!options_.SegmentFilter(segment)) return;
  size_t const parent = node_stack_.size() - 1;
  node_stack_.emplace_back([this, parent, segment] { return MakeAssemblyNode(parent, segment); });
}

// The root's cell stays to the end.
void SceneConverter::CloseAssemblyNode(SegmentKey const& segment) {
  if (node_stack_.size() > 1 && options_.SegmentFilter(segment)) node_stack_.pop_back();
}

// Named after the segment; an unnamed segment gets a number of its own, the
// same on every path that reaches it.
uint32_t SceneConverter::MakeAssemblyNode(size_t parent, SegmentKey const& segment) {
  uint32_t id = 0;
  assembly_tree_->CreateChild(node_stack_[parent].Get(), id);
  UTF8 const name = segment.Name();
  if (name.GetLength() > 0) {
    assembly_tree_->SetName(id, name);
    return id;
  }
  auto const [entry, added] = unnamed_segments_.try_emplace(segment, unnamed_segments_.size());
  char text[32];
  std::snprintf(text, sizeof text, "unnamed-%u", static_cast<unsigned>(entry->second));
  assembly_tree_->SetName(id, text);
  return id;
}

// An instance gets a group node of its own, holding one body.
void SceneConverter::AddToAssembly(uint32_t instance) {
  uint32_t group = 0;
  assembly_tree_->CreateChild(node_stack_.back().Get(), group);
  char text[32];
  std::snprintf(text, sizeof text, "mesh-instance-%u", instance);
  assembly_tree_->SetName(group, text);
  uint32_t body = 0;
  assembly_tree_->CreateBody(group, body);
  assembly_tree_->SetBodyInstance(body, {inclusion_, instance});
}

}  // namespace KZV
