#pragma once
// A condition over names, written with `!` (not), `&` (and), `|` (or) and
// parentheses, `!` binding tightest and `&` before `|`. A name is a run of
// characters other than blanks, `!`, `&`, `|` and parentheses, matched
// exactly. An empty expression holds for every list of names.
#include <memory>

#include "scene/Object.h"
#include "scene/TypeCodes.h"
#include "scene/UTF8.h"

namespace KZV {

class ConditionalExpression : public Object {
 public:
  ConditionalExpression() = default;
  // Throws InvalidSpecificationException for text that doesn't parse.
  explicit ConditionalExpression(char const* text);

  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return text_.Empty(); }
  UTF8 const& Text() const { return text_; }
  bool IsSatisfiedBy(UTF8Array const& conditions) const;

 private:
  struct Program;
  UTF8 text_;
  std::shared_ptr<Program const> program_;
};

}  // namespace KZV
