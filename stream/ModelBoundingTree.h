#pragma once
// Boxes and weights of a model's instances, and its bounding tree.
#include "store/Types.h"

namespace QX::Store {

class ModelImpl;

// Gives every instance whose box is empty its box and weight, where its mesh
// has stream data; returns the union of all instance boxes.
BoundingBox ComputeModelBounds(ModelImpl& model);

// Reads the model's tree file when it is valid; else computes the instance
// bounds, builds the tree and, unless the model is read-only, writes it.
// Throws "File corrupt: " for a tree file that can't be read.
void BuildBoundingTree(ModelImpl& model);

}  // namespace QX::Store
