#include "zqManipulator/tools/difference/ZqModelDifference.h"

#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlObject.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <deque>
#include <set>
#include <sstream>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace
{
using Settings = ZqModelDifference::Settings;
using Entry = ZqModelDifference::Entry;

/// Links below links: of each, two elements are open.
constexpr unsigned deepest = 1U << 20U;

// Documents

/// An element or an attribute of a document.
struct Element
{
   std::string_view name;
   Element* parent = nullptr;
   ZqString label = {}; ///< of an entry of a list
   ZqString text = {};
   unsigned place = 0; ///< among those of its name below its parent
   bool isEntry = false;
   /// Of a link and of a list of child links: the one list of all links of the manipulator.
   Element* links = nullptr;
   std::vector<Element*> children = {};

   const Element* child(std::string_view which) const
   {
      const auto found = std::find_if(children.begin(), children.end(),
                                      [&](const Element* each) { return each->name == which; });
      return found == children.end() ? nullptr : *found;
   }
};

std::string_view localName(std::string_view name)
{
   return name.substr(name.find_last_of('#') + 1);
}

/// The words of a text.
std::vector<std::string_view> wordsOf(std::string_view text)
{
   constexpr const char* spaces = " \t\n\r";
   std::vector<std::string_view> words;
   for (std::size_t begin = text.find_first_not_of(spaces); begin != std::string_view::npos;)
   {
      const std::size_t end = std::min(text.find_first_of(spaces, begin), text.size());
      words.push_back(text.substr(begin, end - begin));
      begin = text.find_first_not_of(spaces, end);
   }
   return words;
}

/// The elements of an object's document.
class Tree
{
public:
   /// False when the object cannot be written.
   bool make(const ZqXmlObject& object);
   const Element& root() const { return m_elements.front(); }

private:
   Element& add(Element* parent, std::string_view name);
   void readAttributes(ZqXmlReader& reader, Element& element);
   void end(Element& element);
   void labelStates();
   void labelJoints(Element& state, const Element& manipulator);

   std::deque<Element> m_elements;
   std::unordered_set<std::string> m_names;
};

Element& Tree::add(Element* parent, std::string_view name)
{
   auto known = m_names.find(std::string(name));
   if (known == m_names.end())
      known = m_names.emplace(name).first;
   m_elements.push_back({*known, parent});
   Element& element = m_elements.back();
   if (parent != nullptr)
   {
      // Of one name are those of a list, which stand in a row.
      if (!parent->children.empty() && parent->children.back()->name == element.name)
         element.place = parent->children.back()->place + 1;
      parent->children.push_back(&element);
   }
   return element;
}

bool Tree::make(const ZqXmlObject& object)
{
   std::stringstream document;
   ZqXmlWriter writer("a model to compare", document);
   writer.setDepthLimit(deepest);
   writer.setIndent(-1);
   if (!Zq::write(object, writer) || !writer.flush())
      return false;
   ZqXmlReader reader(document, "a model to compare");
   ZqXmlReader::Limits limits;
   limits.depth = deepest;
   reader.setLimits(limits);

   std::vector<Element*> open;
   for (unsigned kind = reader.nextNode(); kind != ZqXmlReader::EndOfInput;
        kind = reader.nextNode())
   {
      if (kind == ZqXmlReader::StartTag || kind == ZqXmlReader::EmptyTag)
      {
         Element* const parent = open.empty() ? nullptr : open.back();
         const std::string_view name = localName(reader.tagText());
         const bool isEntry = name == "element" && parent != nullptr;
         Element* const home = isEntry && parent->links != nullptr ? parent->links : parent;
         Element& element = add(home, name);
         element.isEntry = isEntry;
         if (isEntry)
            element.links = parent->links;
         else if (name == "childLinks")
            element.links =
               parent != nullptr && parent->links != nullptr ? parent->links : &element;
         if (home != parent)
            add(&element, "parent").text = parent->parent->label;
         else if (element.links != nullptr && isEntry)
            add(&element, "parent").text = "<base>";
         readAttributes(reader, element);
         open.push_back(&element);
      }
      else if (reader.prepareForData())
         for (std::string_view word; reader.moreData() && reader.readWords(1, false, word);)
            (open.back()->text += open.back()->text.empty() ? "" : " ") += word;
      // Reading a text leaves the cursor at the end of its element.
      if (reader.nodeKind() == ZqXmlReader::EndTag || kind == ZqXmlReader::EmptyTag)
      {
         end(*open.back());
         open.pop_back();
      }
   }
   if (reader.failed() || m_elements.empty())
      return false;
   labelStates();
   return true;
}

void Tree::readAttributes(ZqXmlReader& reader, Element& element)
{
   for (unsigned i = 0; i < reader.attributeCount(); ++i)
   {
      reader.setAttributeCursor(i);
      const std::string_view name = localName(reader.attributeNameText());
      // Of entries there are as many as there are, and namespaces are a matter of the writer.
      if (name != "count" && name != "totalReadableLinkCount" && !name.starts_with("xmlns"))
         add(&element, name).text = reader.attributeValueText();
   }
}

/// An entry is labelled by what stands in it.
void Tree::end(Element& element)
{
   Element* const owner = element.parent;
   if (owner == nullptr || !owner->isEntry)
      return;
   const bool isKey = element.name == "key" && element.children.empty();
   if (isKey || element.name == "identifier" || element.name == "manipulatorIdentifier")
      owner->label = element.text;
}

void Tree::labelStates()
{
   const auto at = [&](std::initializer_list<std::string_view> names)
   {
      const Element* element = &m_elements.front();
      for (const std::string_view name : names)
         element = element == nullptr ? nullptr : element->child(name);
      return element;
   };
   const Element* const manipulators =
      at({"manipulatorSystemContainer", "manipulatorSystem", "manipulators"});
   if (manipulators == nullptr)
      return;
   for (const char* const list : {"positionStates", "velocityStates"})
   {
      const Element* const states = at({"state", list});
      if (states == nullptr || states->children.size() != manipulators->children.size())
         continue;
      for (std::size_t i = 0; i < states->children.size(); ++i)
         labelJoints(*states->children[i], *manipulators->children[i]);
   }
}

/// Makes an entry of each joint's value, unless the joints are those of another manipulator.
void Tree::labelJoints(Element& state, const Element& manipulator)
{
   state.label = manipulator.label;
   const Element* const links = manipulator.child("childLinks");
   for (Element* const list : state.children)
   {
      const bool isOfJoints = list->name == "jointPositions" || list->name == "jointVelocities";
      const ZqString text = list->text;
      const auto words = wordsOf(text);
      if (!isOfJoints || links == nullptr || words.size() != links->children.size())
         continue;
      list->text.clear();
      for (std::size_t i = 0; i < words.size(); ++i)
      {
         Element& entry = add(list, "element");
         entry.isEntry = true;
         entry.label = links->children[i]->label;
         entry.text = words[i];
      }
   }
}

// Paths

/// Of an element in its list, or below its parent.
ZqString titleOf(const Element& element)
{
   if (!element.isEntry)
      return ZqString(element.name);
   return '[' + (element.label.empty() ? std::to_string(element.place) : element.label) + ']';
}

/// The elements from below the root, each list with its entry, as `manipulators[puma]`.
std::vector<ZqString> stepsTo(const Element& element)
{
   std::vector<ZqString> steps;
   ZqString entry;
   for (const Element* each = &element; each->parent != nullptr; each = each->parent)
   {
      entry = titleOf(*each) + entry;
      if (!each->isEntry)
      {
         steps.push_back(std::move(entry));
         entry.clear();
      }
   }
   std::reverse(steps.begin(), steps.end());
   if (!entry.empty() || steps.empty())
      steps.insert(steps.begin(), entry);
   return steps;
}

bool isStepOf(const ZqString& pattern, const ZqString& step)
{
   return step.starts_with(pattern) &&
          (step.size() == pattern.size() || step[pattern.size()] == '[');
}

/// The parts of a path. Labels may hold what is between names.
std::vector<ZqString> splitPath(const ZqString& path)
{
   std::vector<ZqString> steps(1);
   int depth = 0;
   for (const char c : path)
   {
      depth += c == '[' ? 1 : c == ']' ? -1 : 0;
      if (c == '/' && depth <= 0)
         steps.emplace_back();
      else
         steps.back() += c;
   }
   return steps;
}

// Values

std::optional<ZqReal> numberOf(std::string_view word)
{
   ZqReal number = 0.0;
   const char* const end = word.data() + word.size();
   const auto read = std::from_chars(word.data(), end, number);
   return read.ec == std::errc() && read.ptr == end ? std::optional(number) : std::nullopt;
}

class Walk
{
public:
   Walk(const Settings& settings, std::vector<Entry>& entries, std::size_t& count);

   void compare(const Element& first, const Element& second);

private:
   using Pair = std::pair<const Element*, const Element*>;
   using Children = std::vector<Element*>;

   void compareTexts(const Element& first, const Element& second);
   void compareChildren(const Element& first, const Element& second);
   void compareOrder(const Element& list, const std::vector<Pair>& matched);
   bool areEqual(std::string_view first, std::string_view second, ZqReal sign = 1.0) const;
   bool isBroughtAlong(const Element& element) const;
   bool isIgnored(const std::vector<ZqString>& steps) const;
   void note(const Element& element, std::optional<ZqString> first, std::optional<ZqString> second,
             const ZqString& below = {});
   void noteAlone(const Element& element, bool isFirst);

   const Settings& m_settings;
   std::vector<std::vector<ZqString>> m_ignored;
   std::vector<Entry>& m_entries;
   std::size_t& m_count;
   std::vector<Pair> m_waiting;
   /// Of one of the two: labels of manipulators, and of links with those of their manipulators.
   std::set<std::pair<ZqString, ZqString>> m_alone;
};

Walk::Walk(const Settings& settings, std::vector<Entry>& entries, std::size_t& count)
   : m_settings(settings), m_entries(entries), m_count(count)
{
   for (const ZqString& path : settings.ignored)
      m_ignored.push_back(splitPath(path));
}

bool Walk::isIgnored(const std::vector<ZqString>& steps) const
{
   return std::any_of(m_ignored.begin(), m_ignored.end(),
                      [&](const std::vector<ZqString>& pattern)
                      {
                         return std::search(steps.begin(), steps.end(), pattern.begin(),
                                            pattern.end(),
                                            [](const auto& step, const auto& name)
                                            { return isStepOf(name, step); }) != steps.end();
                      });
}

void Walk::note(const Element& element, std::optional<ZqString> first,
                std::optional<ZqString> second, const ZqString& below)
{
   if (m_ignored.empty() && m_entries.size() >= m_settings.limit)
   {
      ++m_count;
      return;
   }
   std::vector<ZqString> steps = stepsTo(element);
   if (!below.empty())
      below.front() == '[' ? steps.back() += below : steps.emplace_back(below);
   if (isIgnored(steps))
      return;
   if (m_count++ >= m_settings.limit)
      return;
   ZqString path;
   for (const ZqString& step : steps)
      (path += path.empty() ? "" : "/") += step;
   m_entries.push_back({std::move(path), std::move(first), std::move(second)});
}

bool Walk::areEqual(std::string_view first, std::string_view second, ZqReal sign) const
{
   if (sign == 1.0 && first == second)
      return true;
   const auto a = numberOf(first);
   const auto b = numberOf(second);
   if (!a || !b)
      return false;
   const ZqReal x = *a;
   const ZqReal y = sign * *b;
   return x == y || std::abs(x - y) <= m_settings.tolerance +
                                          m_settings.relative * std::max(std::abs(x), std::abs(y));
}

void Walk::compareTexts(const Element& first, const Element& second)
{
   if (first.text == second.text)
      return;
   const auto a = wordsOf(first.text);
   const auto b = wordsOf(second.text);
   const auto areAllEqual = [&](ZqReal sign)
   {
      return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                        [&](auto x, auto y) { return areEqual(x, y, sign); });
   };
   if (areAllEqual(1.0) || (first.name == "orientation" && areAllEqual(-1.0)))
      return;
   constexpr std::size_t mostTogether = 4;
   const bool areLists = std::max(a.size(), b.size()) > mostTogether &&
                         (a.empty() || numberOf(a[0])) && (b.empty() || numberOf(b[0]));
   if (!areLists)
      note(first, first.text, second.text);
   else if (a.size() != b.size())
      note(first, std::to_string(a.size()) + " values", std::to_string(b.size()) + " values");
   else
      for (std::size_t i = 0; i < a.size(); ++i)
         if (!areEqual(a[i], b[i]))
            note(first, ZqString(a[i]), ZqString(b[i]), '[' + std::to_string(i) + ']');
}

/// Of entries, the label counts, or else the place; of others the name, and which of that name.
ZqString keyOf(const Element& element)
{
   if (!element.isEntry || element.label.empty())
      return ZqString(element.name) + '#' + std::to_string(element.place);
   return '[' + element.label;
}

void Walk::compareChildren(const Element& first, const Element& second)
{
   std::vector<Pair> matched;
   std::unordered_map<std::string, const Element*> others;
   const Children& a = first.children;
   const Children& b = second.children;
   std::size_t same = 0; // from the front, without a search
   while (same < a.size() && same < b.size() && a[same]->name == b[same]->name &&
          a[same]->label == b[same]->label && a[same]->place == b[same]->place)
   {
      matched.emplace_back(a[same], b[same]);
      ++same;
   }
   const auto keysOf = [&](const Children& children)
   {
      std::unordered_map<std::string, unsigned> seen;
      std::vector<std::string> keys;
      for (std::size_t i = same; i < children.size(); ++i)
      {
         keys.push_back(keyOf(*children[i]));
         if (const unsigned before = seen[keys.back()]++; before > 0)
            keys.back() += '#' + std::to_string(before);
      }
      return keys;
   };
   const auto keysOfA = keysOf(a);
   const auto keysOfB = keysOf(b);
   for (std::size_t i = same; i < b.size(); ++i)
      others.emplace(keysOfB[i - same], b[i]);
   for (std::size_t i = same; i < a.size(); ++i)
      if (const auto found = others.find(keysOfA[i - same]); found != others.end())
      {
         matched.emplace_back(a[i], found->second);
         others.erase(found);
      }
      else
         noteAlone(*a[i], true);
   for (std::size_t i = same; i < b.size() && !others.empty(); ++i)
      if (others.contains(keysOfB[i - same]))
         noteAlone(*b[i], false);
   compareOrder(first, matched);
   m_waiting.insert(m_waiting.end(), matched.rbegin(), matched.rend());
}

/// Of links and manipulators that both have: states follow them, and maps have the order of their keys.
void Walk::compareOrder(const Element& list, const std::vector<Pair>& matched)
{
   if (list.links != &list && list.name != "manipulators")
      return;
   std::vector<Pair> bySecond(matched);
   std::stable_sort(bySecond.begin(), bySecond.end(),
                    [](const Pair& x, const Pair& y) { return x.second->place < y.second->place; });
   for (std::size_t i = 0; i < matched.size(); ++i)
      if (matched[i].second != bySecond[i].second)
      {
         note(list, matched[i].first->label, bySecond[i].second->label, "order");
         return;
      }
}

/// Notes what only one of the two has.
void Walk::noteAlone(const Element& element, bool isFirst)
{
   if (isBroughtAlong(element))
      return;
   if (element.links != nullptr)
      m_alone.emplace(element.parent->parent->label, element.label);
   else if (element.parent->name == "manipulators")
      m_alone.emplace(element.label, ZqString());
   std::optional<ZqString> text = element.text;
   note(element, isFirst ? text : std::nullopt, isFirst ? std::nullopt : text);
}

/// Whether it is in a map or a state for a link or a manipulator that only one of the two has.
bool Walk::isBroughtAlong(const Element& element) const
{
   if (element.label.empty() || m_alone.empty() || element.links != nullptr)
      return false;
   if (element.parent->name == "positionStates" || element.parent->name == "velocityStates")
      return m_alone.contains({element.label, ZqString()});
   const Element* owner = element.parent;
   while (owner != nullptr && !(owner->isEntry && (owner->parent->name == "manipulators" ||
                                                   owner->parent->name == "positionStates" ||
                                                   owner->parent->name == "velocityStates")))
      owner = owner->parent;
   return owner != nullptr && m_alone.contains({owner->label, element.label});
}

void Walk::compare(const Element& first, const Element& second)
{
   if (first.name != second.name)
   {
      m_entries.push_back({{}, ZqString(first.name), ZqString(second.name)});
      ++m_count;
      return;
   }
   m_waiting.emplace_back(&first, &second);
   while (!m_waiting.empty())
   {
      const auto [a, b] = m_waiting.back();
      m_waiting.pop_back();
      compareTexts(*a, *b);
      compareChildren(*a, *b);
   }
}

/// An empty value as such, none as what is missing.
ZqString shown(const std::optional<ZqString>& value)
{
   return !value ? "-" : value->empty() ? "\"\"" : *value;
}
} // namespace

ZqModelDifference::ZqModelDifference(const ZqXmlObject& first, const ZqXmlObject& second,
                                     const Settings& settings)
{
   Tree a;
   Tree b;
   m_isValid = a.make(first) && b.make(second);
   if (m_isValid)
      Walk(settings, m_entries, m_count).compare(a.root(), b.root());
}

ZqString ZqModelDifference::text() const
{
   ZqString result;
   for (const Entry& entry : m_entries)
      result += entry.path + ": " + shown(entry.first) + " | " + shown(entry.second) + '\n';
   return result;
}
