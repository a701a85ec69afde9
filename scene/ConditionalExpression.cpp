#include "scene/ConditionalExpression.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "export/value_types/Exceptions.h"

namespace KZV {

namespace {

enum class Op { Name, Not, And, Or };
struct Step {
  Op op;
  std::string name;
};
using Program = std::vector<Step>;

bool IsNameChar(char c) {
  return !std::isspace(static_cast<unsigned char>(c)) && c != '!' && c != '&' && c != '|' && c != '(' &&
         c != ')' && c != '\0';
}

// Recursive descent: or := and ('|' and)*; and := unary ('&' unary)*;
// unary := '!' unary | '(' or ')' | name.
class Parser {
 public:
  explicit Parser(std::string const& text) : text_(text) {}

  Program Parse() {
    SkipBlanks();
    if (pos_ == text_.size()) return {};
    ParseOr();
    SkipBlanks();
    if (pos_ != text_.size()) Fail();
    return std::move(out_);
  }

 private:
  void ParseOr() {
    ParseAnd();
    while (Accept('|')) {
      ParseAnd();
      out_.push_back({Op::Or, {}});
    }
  }
  void ParseAnd() {
    ParseUnary();
    while (Accept('&')) {
      ParseUnary();
      out_.push_back({Op::And, {}});
    }
  }
  void ParseUnary() {
    if (Accept('!')) {
      ParseUnary();
      out_.push_back({Op::Not, {}});
    } else if (Accept('(')) {
      ParseOr();
      if (!Accept(')')) Fail();
    } else {
      SkipBlanks();
      size_t const begin = pos_;
      while (pos_ < text_.size() && IsNameChar(text_[pos_])) ++pos_;
      if (pos_ == begin) Fail();
      out_.push_back({Op::Name, text_.substr(begin, pos_ - begin)});
    }
  }
  bool Accept(char c) {
    SkipBlanks();
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }
  void SkipBlanks() {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
  }
  [[noreturn]] void Fail() const {
    throw InvalidSpecificationException("Malformed condition expression: " + text_);
  }

  std::string const& text_;
  size_t pos_ = 0;
  Program out_;
};

}  // namespace

// The expression in postfix form: names push whether they are present,
// operators combine the top of the stack.
struct ConditionalExpression::Program {
  std::vector<Step> steps;
};

ConditionalExpression::ConditionalExpression(char const* text) : text_(text) {
  auto program = std::make_shared<Program>();
  program->steps = Parser(text_.str()).Parse();
  program_ = std::move(program);
}

bool ConditionalExpression::IsSatisfiedBy(UTF8Array const& conditions) const {
  if (!program_ || program_->steps.empty()) return true;
  std::vector<bool> stack;
  for (auto const& step : program_->steps) {
    switch (step.op) {
      case Op::Name:
        stack.push_back(std::find(conditions.begin(), conditions.end(), UTF8(step.name)) != conditions.end());
        break;
      case Op::Not:
        stack.back() = !stack.back();
        break;
      case Op::And:
      case Op::Or: {
        bool const right = stack.back();
        stack.pop_back();
        stack.back() = step.op == Op::And ? (stack.back() && right) : (stack.back() || right);
        break;
      }
    }
  }
  return stack.back();
}

}  // namespace KZV
