#include "zqManipulator/simulation/step/ZqInputTable.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <istream>
#include <limits>
#include <map>
#include <set>
#include <utility>

namespace
{
struct NamedQuantity
{
   const char* name;
   ZqInputTable::Quantity quantity;
};
/// In the order of the quantities. The first two are for joints alone.
constexpr std::array<NamedQuantity, 8> quantities{{
   {"command", ZqInputTable::Quantity::Command},
   {"torque", ZqInputTable::Quantity::Torque},
   {"force x", ZqInputTable::Quantity::ForceX},
   {"force y", ZqInputTable::Quantity::ForceY},
   {"force z", ZqInputTable::Quantity::ForceZ},
   {"moment x", ZqInputTable::Quantity::MomentX},
   {"moment y", ZqInputTable::Quantity::MomentY},
   {"moment z", ZqInputTable::Quantity::MomentZ},
}};
constexpr std::size_t firstForce = 2;

bool isOfJoint(ZqInputTable::Quantity quantity)
{
   return static_cast<std::size_t>(quantity) < firstForce;
}

/// The number in a spatial force.
std::size_t forceIndex(ZqInputTable::Quantity quantity)
{
   return static_cast<std::size_t>(quantity) - firstForce;
}

std::string quoted(std::string_view text)
{
   return '"' + std::string(text) + '"';
}

std::string_view trimmed(std::string_view text)
{
   constexpr const char* blank = " \t";
   const auto begin = text.find_first_not_of(blank);
   if (begin == std::string_view::npos)
      return {};
   return text.substr(begin, text.find_last_not_of(blank) - begin + 1);
}

/// The fields of a line. False when a quotation mark is not closed, or followed by more than a comma.
bool splitLine(std::string_view line, std::vector<std::string>& fields)
{
   fields.assign(1, {});
   bool isQuoted = false;
   bool isClosed = false;
   for (std::size_t i = 0; i < line.size(); ++i)
   {
      const char c = line[i];
      if (isQuoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"')
         fields.back() += line[++i];
      else if (isQuoted && c == '"')
      {
         isQuoted = false;
         isClosed = true;
      }
      else if (isQuoted)
         fields.back() += c;
      else if (c == ',')
      {
         fields.emplace_back();
         isClosed = false;
      }
      else if (isClosed)
         return false;
      else if (c == '"' && fields.back().empty())
         isQuoted = true;
      else
         fields.back() += c;
   }
   return !isQuoted;
}

/// As it stands in a table.
std::string field(const std::string& text)
{
   if (text.find_first_of(",\"\r\n") == std::string::npos && trimmed(text) == text)
      return text;
   std::string result = "\"";
   for (const char c : text)
      result.append(c == '"' ? 2 : 1, c);
   return result + '"';
}

std::string shortest(ZqReal number)
{
   std::array<char, 32> digits{};
   return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

/// Joined by commas.
std::string listOf(const std::vector<std::string>& names)
{
   std::string result;
   for (const std::string& name : names)
      result += (result.empty() ? "" : ", ") + name;
   return result;
}

/// What would have fitted in place of a name: what goes into the link that it names, or all links.
std::string suggestionsFor(const std::string& name, const std::vector<ZqInputTable::Input>& inputs)
{
   std::vector<std::string> links;
   std::vector<std::string> ofLink;
   std::string prefix;
   for (const ZqInputTable::Input& input : inputs)
   {
      const std::string quantity = quantities[static_cast<std::size_t>(input.quantity)].name;
      prefix = input.name.substr(0, input.name.size() - quantity.size());
      const std::string link = prefix.substr(0, prefix.size() - 1);
      if (links.empty() || links.back() != link)
         links.push_back(link);
      if (name == link || name.compare(0, prefix.size(), prefix) == 0)
         ofLink.push_back(quantity);
   }
   if (!ofLink.empty())
      return "there go in " + listOf(ofLink);
   std::vector<std::string> all;
   for (const NamedQuantity& quantity : quantities)
      all.emplace_back(quantity.name);
   return "inputs are LINK " + listOf(all) + ", LINK being one of " + listOf(links);
}
} // namespace

/// A table on its way from a stream.
struct ZqInputTable::Reading
{
   /// Steps to the next line that is not blank.
   bool next()
   {
      while (std::getline(stream, text))
      {
         constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
         if (++line == 1 && text.starts_with(byteOrderMark))
            text.erase(0, byteOrderMark.size());
         if (text.ends_with('\r'))
            text.pop_back();
         if (!trimmed(text).empty())
            return true;
      }
      return false;
   }
   bool fail(const std::string& what) const
   {
      Zq::Print::instance().report({Zq::Severity::Error, "input-table", fileName, line, {}, what});
      return false;
   }
   bool split()
   {
      return splitLine(text, fields) || fail("a quotation mark is not closed where a field ends");
   }

   std::istream& stream;
   const ZqString& fileName;
   unsigned long line = 0;
   std::string text;
   std::vector<std::string> fields;
};

std::vector<ZqInputTable::Input> ZqInputTable::inputsOf(const ZqManipulatorSystem& system)
{
   std::vector<Input> result;
   for (ZqU32 i = 0; i < system.numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& manipulator = system.manipulators()[i];
      const auto add = [&](const ZqManipulatorLink& link, ZqU32 index)
      {
         for (const NamedQuantity& named : quantities)
            if (index != ZqBaseLinkIndex || !isOfJoint(named.quantity))
               result.push_back(
                  {manipulator.manipulatorLabel() + '/' + link.linkLabel() + ' ' + named.name,
                   {i, index},
                   named.quantity});
      };
      add(manipulator.concreteReference(), ZqBaseLinkIndex);
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         add(*link, link->linkIndex());
   }
   return result;
}

ZqReal ZqInputTable::valueOf(const Input& input, const ZqSimulation& simulation)
{
   if (input.quantity == Quantity::Command)
      return simulation.command(input.place);
   if (input.quantity == Quantity::Torque)
      return simulation.torque(input.place);
   return simulation.externalForce(input.place)[forceIndex(input.quantity)];
}

// Reading

bool ZqInputTable::load(const ZqString& fileName, const ZqManipulatorSystem& system)
{
   errno = 0;
   std::ifstream stream(fileName, std::ios::binary);
   if (stream)
      return read(stream, fileName, system);
   *this = ZqInputTable();
   const std::string reason = errno != 0 ? std::strerror(errno) : "unknown reason";
   return Reading{stream, fileName, 0, {}, {}}.fail("cannot be opened: " + reason);
}

bool ZqInputTable::read(std::istream& stream, const ZqString& fileName,
                        const ZqManipulatorSystem& system)
{
   const Interpolation interpolation = m_interpolation;
   *this = ZqInputTable();
   m_interpolation = interpolation;
   Reading reading{stream, fileName, 0, {}, {}};
   bool isGood = reading.next() ? readHead(reading, system) : reading.fail("the table is empty");
   while (isGood && reading.next())
      isGood = readLine(reading);
   if (isGood && stream.bad())
      isGood = reading.fail("cannot be read");
   if (isGood && m_times.empty())
      isGood = reading.fail("the table has names, but no line of numbers");
   if (isGood)
      return true;
   *this = ZqInputTable();
   m_interpolation = interpolation;
   return false;
}

bool ZqInputTable::readHead(Reading& reading, const ZqManipulatorSystem& system)
{
   if (!reading.split())
      return false;
   if (trimmed(reading.fields.front()) != "time")
      return reading.fail("the first column is to be \"time\", and not " +
                          quoted(trimmed(reading.fields.front())));
   if (reading.fields.size() == 1)
      return reading.fail("there is no column but time");
   const std::vector<Input> all = inputsOf(system);
   std::map<std::string, const Input*> byName;
   for (const Input& input : all)
      byName.emplace(input.name, &input);
   std::set<std::string> seen;
   for (std::size_t k = 1; k < reading.fields.size(); ++k)
   {
      const std::string name(trimmed(reading.fields[k]));
      const auto found = byName.find(name);
      if (found == byName.end())
         return reading.fail("the model has no input " + quoted(name) + "; " +
                             suggestionsFor(name, all));
      if (!seen.insert(name).second)
         return reading.fail("there are two columns " + quoted(name));
      m_inputs.push_back(*found->second);
   }
   return true;
}

bool ZqInputTable::readLine(Reading& reading)
{
   if (!reading.split())
      return false;
   const std::size_t columns = m_inputs.size() + 1;
   if (reading.fields.size() != columns)
      return reading.fail("there are " + std::to_string(columns) + " columns, but " +
                          std::to_string(reading.fields.size()) + " fields");
   for (std::size_t k = 0; k < columns; ++k)
   {
      const std::string_view text = trimmed(reading.fields[k]);
      const std::string name = k == 0 ? "time" : m_inputs[k - 1].name;
      if (text.empty())
         return reading.fail("there is no number for " + quoted(name));
      ZqReal number = 0.0;
      const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
      if (end.ec != std::errc() || end.ptr != text.data() + text.size() || !std::isfinite(number))
         return reading.fail(quoted(text) + " for " + quoted(name) + " is not a finite number");
      if (k > 0)
         m_values.push_back(number);
      else if (!m_times.empty() && !(number > m_times.back()))
         return reading.fail("the time " + std::string(text) +
                             " s is not after that of the line before");
      else
         m_times.push_back(number);
   }
   return true;
}

// Writing

ZqInputTable ZqInputTable::ofTorques(const ZqManipulatorSystem& system, ZqU32 manipulator)
{
   ZqInputTable table;
   for (Input& input : inputsOf(system))
      if (input.place.manipulator == manipulator && input.quantity == Quantity::Torque)
         table.m_inputs.push_back(std::move(input));
   return table;
}

bool ZqInputTable::addLine(ZqReal time, std::span<const ZqReal> values)
{
   const auto isFinite = [](ZqReal number) { return std::isfinite(number); };
   if (values.size() != m_inputs.size() || !isFinite(time) ||
       !std::all_of(values.begin(), values.end(), isFinite) ||
       (!m_times.empty() && !(time > m_times.back())))
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqInputTable::addLine: %zu values at %g s are no line of the table.\n",
         values.size(), time);
      return false;
   }
   m_times.push_back(time);
   m_values.insert(m_values.end(), values.begin(), values.end());
   return true;
}

void ZqInputTable::write(std::ostream& stream) const
{
   stream << "time";
   for (const Input& input : m_inputs)
      stream << ',' << field(input.name);
   for (std::size_t line = 0; line < m_times.size(); ++line)
   {
      stream << '\n' << shortest(m_times[line]);
      for (std::size_t k = 0; k < m_inputs.size(); ++k)
         stream << ',' << shortest(value(line, k));
   }
   stream << '\n';
}

bool ZqInputTable::save(const ZqString& fileName) const
{
   errno = 0;
   std::ofstream stream(fileName, std::ios::binary);
   write(stream);
   stream.close();
   if (stream)
      return true;
   const std::string reason = errno != 0 ? std::strerror(errno) : "unknown reason";
   Zq::Print::instance().report(
      {Zq::Severity::Error, "input-table", fileName, 0, {}, "cannot be written: " + reason});
   return false;
}

// Use

void ZqInputTable::apply(ZqSimulation& simulation, ZqReal end) const
{
   const ZqReal start = simulation.state().time();
   const bool isLinear = m_interpolation == Interpolation::Linear;
   const ZqReal time = isLinear ? start + 0.5 * (end - start) : start;
   // Times that are multiples of a step may differ from those in a table by rounding.
   constexpr ZqReal rounding = 4.0 * std::numeric_limits<ZqReal>::epsilon();
   const auto next =
      std::upper_bound(m_times.begin(), m_times.end(), time + rounding * std::abs(time));
   if (next == m_times.begin())
      return;
   const auto line = static_cast<std::size_t>(next - m_times.begin()) - 1;
   const bool isBetween = isLinear && next != m_times.end();
   const ZqReal part =
      isBetween ? std::max(0.0, (time - m_times[line]) / (*next - m_times[line])) : 0.0;
   for (std::size_t k = 0; k < m_inputs.size(); ++k)
   {
      const auto& [name, place, quantity] = m_inputs[k];
      ZqReal number = value(line, k);
      if (isBetween)
         number = (1.0 - part) * number + part * value(line + 1, k);
      if (quantity == Quantity::Command)
         simulation.setCommand(place, number);
      else if (quantity == Quantity::Torque)
         simulation.setTorque(place, number);
      else
      {
         ZqGeneralForce force = simulation.externalForce(place);
         force.setScalarValue(forceIndex(quantity), number);
         simulation.setExternalForce(place, force);
      }
   }
}
