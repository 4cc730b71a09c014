#include "apps/zqsim/names.h"
#include "apps/zqsim/sweep/metrics.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <numbers>
#include <string_view>
#include <utility>

namespace
{
using Instruction = zqsim::Metrics::Instruction;
using Kind = Instruction::Kind;

struct UnaryFunction
{
   const char* name;
   ZqReal (*compute)(ZqReal);
};
constexpr std::array<UnaryFunction, 11> unaryFunctions{
   {{"abs", [](ZqReal x) { return std::abs(x); }},
    {"sqrt", [](ZqReal x) { return std::sqrt(x); }},
    {"exp", [](ZqReal x) { return std::exp(x); }},
    {"log", [](ZqReal x) { return std::log(x); }},
    {"sin", [](ZqReal x) { return std::sin(x); }},
    {"cos", [](ZqReal x) { return std::cos(x); }},
    {"tan", [](ZqReal x) { return std::tan(x); }},
    {"asin", [](ZqReal x) { return std::asin(x); }},
    {"acos", [](ZqReal x) { return std::acos(x); }},
    {"atan", [](ZqReal x) { return std::atan(x); }},
    {"sign", [](ZqReal x) { return x > 0.0   ? 1.0
                                   : x < 0.0 ? -1.0
                                             : x; }}}};

struct BinaryFunction
{
   const char* name;
   ZqReal (*compute)(ZqReal, ZqReal);
};
/// What is not a number stays, on either side.
constexpr std::array<BinaryFunction, 3> binaryFunctions{
   {{"min", [](ZqReal a, ZqReal b) { return std::isnan(a) || a < b ? a : b; }},
    {"max", [](ZqReal a, ZqReal b) { return std::isnan(a) || a > b ? a : b; }},
    {"atan2", [](ZqReal a, ZqReal b) { return std::atan2(a, b); }}}};

/// Of which longer ones stand before those that they begin with.
constexpr std::array<BinaryFunction, 6> comparisons{
   {{"<=", [](ZqReal a, ZqReal b) { return a <= b ? 1.0 : 0.0; }},
    {">=", [](ZqReal a, ZqReal b) { return a >= b ? 1.0 : 0.0; }},
    {"==", [](ZqReal a, ZqReal b) { return a == b ? 1.0 : 0.0; }},
    {"!=", [](ZqReal a, ZqReal b) { return a < b || a > b ? 1.0 : 0.0; }},
    {"<", [](ZqReal a, ZqReal b) { return a < b ? 1.0 : 0.0; }},
    {">", [](ZqReal a, ZqReal b) { return a > b ? 1.0 : 0.0; }}}};
constexpr std::array<BinaryFunction, 2> sums{{{"+", [](ZqReal a, ZqReal b) { return a + b; }},
                                              {"-", [](ZqReal a, ZqReal b) { return a - b; }}}};
constexpr std::array<BinaryFunction, 2> products{{{"*", [](ZqReal a, ZqReal b) { return a * b; }},
                                                  {"/", [](ZqReal a, ZqReal b) { return a / b; }}}};

ZqReal power(ZqReal base, ZqReal exponent)
{
   return exponent == 2.0 ? base * base : std::pow(base, exponent);
}

template <class List>
auto* find(const List& list, std::string_view name)
{
   const auto found =
      std::find_if(list.begin(), list.end(), [&](const auto& one) { return name == one.name; });
   return found == list.end() ? nullptr : &*found;
}

bool isSpace(char c)
{
   return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(char c)
{
   return c >= '0' && c <= '9';
}

/// What a word goes on with; of other alphabets all.
bool isOfWord(char c)
{
   return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
          static_cast<unsigned char>(c) >= 0x80;
}

/// How many characters of a text a name takes at its start, 0 if it does not stand there. For a space of the name any
/// white space will do, as where a document has a new line.
std::size_t lengthOf(std::string_view name, std::string_view text)
{
   if (text.starts_with(name))
      return name.size();
   std::size_t length = 0;
   for (const char c : name)
   {
      if (length == text.size() || (c == ' ' ? !isSpace(text[length]) : text[length] != c))
         return 0;
      ++length;
      while (c == ' ' && length < text.size() && isSpace(text[length]))
         ++length;
   }
   return length;
}

std::string quoted(std::string_view text)
{
   return '"' + std::string(text) + '"';
}

std::string functionNames()
{
   std::string names;
   const auto add = [&](const auto& list)
   {
      for (const auto& one : list)
         names += (names.empty() ? "" : ", ") + std::string(one.name);
   };
   add(zqsim::Metrics::aggregates());
   add(unaryFunctions);
   return names + ", atan2, time";
}
} // namespace

/// Reads an expression by recursive descent, and writes it as code for a stack.
class zqsim::ExpressionParser
{
public:
   ExpressionParser(Metrics& metrics, const std::string& text, std::span<const std::string> columns)
      : m_metrics(metrics), m_text(text), m_columns(columns)
   {
   }

   Metrics::Code parse()
   {
      parseComparison();
      skipSpace();
      if (m_place < m_text.size())
         fail(m_place, m_text[m_place] == ')' ? "there is no ( for this )"
                                              : "expected an operator or the end");
      return std::move(m_code);
   }

private:
   /// What an expression may be made of.
   enum class Scope
   {
      OfRun, ///< numbers of the whole run
      OverTime
   };

   /// Counts how deep expressions nest: the text may be anything.
   class Nesting
   {
   public:
      explicit Nesting(ExpressionParser& parser) : m_parser(parser)
      {
         constexpr std::size_t deepest = 100;
         if (++m_parser.m_nesting > deepest)
            m_parser.fail(m_parser.m_place, "it nests too deep");
      }
      Nesting(const Nesting&) = delete;
      Nesting& operator=(const Nesting&) = delete;
      ~Nesting() { --m_parser.m_nesting; }

   private:
      ExpressionParser& m_parser;
   };

   [[noreturn]] static void fail(std::size_t place, const std::string& message)
   {
      throw ExpressionFault(place + 1, message);
   }
   std::string_view rest() const { return std::string_view(m_text).substr(m_place); }
   void skipSpace()
   {
      while (m_place < m_text.size() && isSpace(m_text[m_place]))
         ++m_place;
   }
   bool takes(std::string_view sign)
   {
      skipSpace();
      if (!rest().starts_with(sign))
         return false;
      m_place += sign.size();
      return true;
   }
   void require(std::string_view sign)
   {
      if (!takes(sign))
         fail(m_place, "expected " + std::string(sign));
   }

   void put(const Instruction& instruction)
   {
      if (instruction.kind == Kind::Binary)
         --m_depth;
      else if (instruction.kind != Kind::Unary)
         m_metrics.m_deepest = std::max(m_metrics.m_deepest, ++m_depth);
      m_code.push_back(instruction);
   }
   void putNumber(ZqReal number) { put({.number = number}); }
   void putUnary(ZqReal (*compute)(ZqReal)) { put({.kind = Kind::Unary, .unary = compute}); }
   void putBinary(ZqReal (*compute)(ZqReal, ZqReal))
   {
      put({.kind = Kind::Binary, .binary = compute});
   }

   template <class List>
   const BinaryFunction* takeOperator(const List& operators)
   {
      for (const BinaryFunction& one : operators)
         if (takes(one.name))
            return &one;
      return nullptr;
   }
   template <class List, class Operand>
   void parseChain(const List& operators, Operand operand)
   {
      (this->*operand)();
      while (const BinaryFunction* found = takeOperator(operators))
      {
         (this->*operand)();
         putBinary(found->compute);
      }
   }
   void parseComparison()
   {
      parseSum();
      if (const BinaryFunction* found = takeOperator(comparisons))
      {
         parseSum();
         putBinary(found->compute);
      }
   }
   void parseSum() { parseChain(sums, &ExpressionParser::parseProduct); }
   void parseProduct() { parseChain(products, &ExpressionParser::parseSigned); }
   /// All that nests comes through here.
   void parseSigned()
   {
      const Nesting nesting(*this);
      if (takes("-"))
      {
         parseSigned();
         putUnary([](ZqReal x) { return -x; });
      }
      else if (takes("+"))
         parseSigned();
      else
         parsePower();
   }
   /// Binds to the right, and its exponent may have a sign.
   void parsePower()
   {
      parseOperand();
      if (!takes("^"))
         return;
      parseSigned();
      putBinary(power);
   }
   void parseOperand()
   {
      skipSpace();
      if (m_place == m_text.size())
         fail(m_place, "expected a number, a name or (, but the expression ends");
      const char c = m_text[m_place];
      if (takes("("))
      {
         parseComparison();
         require(")");
      }
      else if (c == '"' || c == '\'')
         parseQuoted(c);
      else if (isDigit(c) || c == '.')
         parseNumber();
      else if (!parseKnownColumn())
         parseWord();
   }
   void parseNumber() { putNumber(takeNumber()); }
   ZqReal takeNumber()
   {
      ZqReal number = 0.0;
      const std::string_view text = rest();
      const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
      if (end.ec != std::errc())
         fail(m_place, end.ec == std::errc::result_out_of_range ? "a number out of range"
                                                                : "expected a number");
      m_place += static_cast<std::size_t>(end.ptr - text.data());
      return number;
   }

   void putColumn(std::size_t column, std::size_t place)
   {
      requireTime(place);
      auto& used = m_metrics.m_columns;
      const auto found = std::find(used.begin(), used.end(), column);
      const auto index = static_cast<std::size_t>(found - used.begin());
      if (found == used.end())
         used.push_back(column);
      put({.kind = Kind::Column, .index = index});
   }
   void requireTime(std::size_t place) const
   {
      if (m_scope != Scope::OverTime)
         fail(place, "a column changes over time: say what of it, as final(...) or max(...)");
   }
   void parseQuoted(char quote)
   {
      const std::size_t start = m_place++;
      const std::size_t end = m_text.find(quote, m_place);
      if (end == std::string::npos)
         fail(start, "the quotation mark has no other one");
      const std::string name = m_text.substr(m_place, end - m_place);
      m_place = end + 1;
      const auto found = std::find(m_columns.begin(), m_columns.end(), name);
      if (found == m_columns.end())
         failOfColumn(start, name);
      putColumn(static_cast<std::size_t>(found - m_columns.begin()), start);
   }
   /// The longest name that stands here.
   bool parseKnownColumn()
   {
      std::size_t longest = 0;
      std::size_t column = 0;
      for (std::size_t i = 0; i < m_columns.size(); ++i)
      {
         const std::string& name = m_columns[i];
         const std::size_t length = lengthOf(name, rest());
         if (length <= longest)
            continue;
         const std::string_view behind = rest().substr(length);
         if (!behind.empty() && isOfWord(name.back()) && isOfWord(behind.front()))
            continue;
         longest = length;
         column = i;
      }
      if (longest == 0)
         return false;
      putColumn(column, m_place);
      m_place += longest;
      return true;
   }
   [[noreturn]] void failOfColumn(std::size_t place, std::string_view name) const
   {
      fail(place, "there is no column " + quoted(name) +
                     (m_columns.empty() ? "" : "; near it are " + namesNear(name, m_columns)));
   }

   void parseWord()
   {
      const std::size_t start = m_place;
      std::size_t end = m_place;
      while (end < m_text.size() && isOfWord(m_text[end]))
         ++end;
      const std::string_view word = rest().substr(0, end - start);
      m_place = end;
      if (!word.empty() && takes("("))
         parseFunction(word, start);
      else if (word == "pi")
         putNumber(std::numbers::pi);
      else if (word == "time")
      {
         requireTime(start);
         put({.kind = Kind::Time});
      }
      else
         failOfWord(start);
   }
   /// What stands there is a sign, or else meant to be a column, with slashes and spaces.
   [[noreturn]] void failOfWord(std::size_t start) const
   {
      if (std::string_view("()+-*/^,<>=!").find(m_text[start]) != std::string_view::npos)
         fail(start, "expected a number, a name or (");
      std::size_t end = m_text.find_first_of("()+*^,<>=!\"'", start);
      if (end == std::string::npos)
         end = m_text.size();
      while (end > start + 1 && isSpace(m_text[end - 1]))
         --end;
      failOfColumn(start, std::string_view(m_text).substr(start, end - start));
   }

   /// Behind the name and its parenthesis.
   void parseFunction(std::string_view name, std::size_t start)
   {
      const auto* const binary = find(binaryFunctions, name);
      const auto* const aggregate = find(Metrics::aggregates(), name);
      if (name == "time")
         putGathered(*find(Metrics::aggregates(), "final"), 0.0, {{.kind = Kind::Time}}, start);
      else if (const auto* const unary = find(unaryFunctions, name))
      {
         parseComparison();
         putUnary(unary->compute);
      }
      else if (binary != nullptr && (aggregate == nullptr || hasTwoArguments()))
      {
         parseComparison();
         require(",");
         parseComparison();
         putBinary(binary->compute);
      }
      else if (aggregate != nullptr)
         parseAggregate(*aggregate, start);
      else
         fail(start, "there is no function " + quoted(name) + " among " + functionNames());
      require(")");
   }
   /// Whether there is a comma before the parenthesis that closes.
   bool hasTwoArguments() const
   {
      std::size_t open = 0;
      for (std::size_t i = m_place; i < m_text.size(); ++i)
      {
         const char c = m_text[i];
         if (c == '"' || c == '\'')
            i = std::min(m_text.find(c, i + 1), m_text.size());
         else if (c == '(')
            ++open;
         else if ((c == ')' && open-- == 0) || (c == ',' && open == 0))
            return c == ',';
      }
      return false;
   }
   void parseAggregate(const Metrics::Aggregate& aggregate, std::size_t start)
   {
      const std::string_view name = aggregate.name;
      ZqReal parameter = 0.0;
      if (name == "at")
      {
         skipSpace();
         parameter = takeNumber();
         require(",");
      }
      requirePlaceFor(name, start);
      const Scope scope = std::exchange(m_scope, Scope::OverTime);
      const bool isInInitial = std::exchange(m_isInInitial, name == "initial");
      Metrics::Code code = std::exchange(m_code, {});
      const std::size_t depth = std::exchange(m_depth, 0);
      parseComparison();
      code.swap(m_code);
      m_depth = depth;
      m_isInInitial = isInInitial;
      m_scope = scope;
      putGathered(aggregate, parameter, std::move(code), start);
   }
   /// While a run goes on nothing is known of it all but its start.
   void requirePlaceFor(std::string_view name, std::size_t start) const
   {
      if (m_scope == Scope::OverTime && (name != "initial" || m_isInInitial))
         fail(start, std::string(name) + "(...) is known at the end of a run only, and not within "
                                         "what is taken over time");
   }
   void putGathered(const Metrics::Aggregate& aggregate, ZqReal parameter, Metrics::Code code,
                    std::size_t start)
   {
      requirePlaceFor(aggregate.name, start);
      m_metrics.m_deepest = std::max<std::size_t>(m_metrics.m_deepest, 1);
      m_metrics.m_gatherings.push_back({&aggregate, parameter, std::move(code)});
      put({.kind = Kind::Gathered, .index = m_metrics.m_gatherings.size() - 1});
   }

   Metrics& m_metrics;
   const std::string& m_text;
   std::span<const std::string> m_columns;
   std::size_t m_place = 0;
   Scope m_scope = Scope::OfRun;
   bool m_isInInitial = false;
   Metrics::Code m_code;
   std::size_t m_depth = 0; ///< of the stack
   std::size_t m_nesting = 0;
};

void zqsim::Metrics::add(const std::string& expression, std::span<const std::string> columns)
{
   Metrics changed = *this;
   changed.m_results.push_back(ExpressionParser(changed, expression, columns).parse());
   *this = std::move(changed);
}
