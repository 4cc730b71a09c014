#pragma once

#include "support/randomValues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

namespace zqTest
{
/// What a random robot in URDF has. Without an element that is left out, all readers agree on the rest.
struct UrdfKind
{
   ZqU32 links = 8;
   bool hasWideJoints = true; ///< planar and floating ones, with six or three degrees of freedom
   bool hasFixedJoints = true;
   bool hasMimics = true;
   bool hasShapes = true;
   bool hasDrives = true; ///< dynamics, transmissions, and what acts on a command
   bool isRootHeavy = true;
   bool hasOddNames = false; ///< with what XML has to escape, and with blanks
};

/// Writes a random robot: links link0, link1, ... of which the first is the root, and above each other one its
/// joint of the same number, joint1, ... Links and joints stand in a random order. Each link that moves has mass.
class RandomUrdf
{
public:
   RandomUrdf(ZqU32 seed, const UrdfKind& kind) : m_random(seed), m_kind(kind)
   {
      std::vector<std::string> parts;
      m_types.push_back("");
      for (ZqU32 i = 1; i < kind.links; ++i)
         m_types.push_back(randomType());
      for (ZqU32 i = 0; i < kind.links; ++i)
         parts.push_back(link(i));
      for (ZqU32 i = 1; i < kind.links; ++i)
         parts.push_back(joint(i));
      if (kind.hasDrives)
         for (ZqU32 i = 1; i < kind.links; ++i)
            if (hasOneFreedom(i) && chance(3))
               parts.push_back(transmission(i));
      for (std::size_t i = parts.size(); i-- > 1;)
         std::swap(parts[i], parts[m_random.index(0, static_cast<ZqU32>(i))]);
      m_text = "<?xml version=\"1.0\"?>\n<robot name=\"random" + std::to_string(seed) + "\">\n";
      if (kind.hasShapes)
         m_text +=
            "  <material name=\"steel\">\n    <color rgba=\"0.6 0.6 0.7 1\"/>\n  </material>\n";
      for (const std::string& part : parts)
         m_text += part;
      m_text += "</robot>\n";
   }

   const std::string& text() const { return m_text; }
   /// Of joint i, from 1 on.
   const std::string& type(ZqU32 i) const { return m_types[i]; }
   bool hasOneFreedom(ZqU32 i) const
   {
      return m_types[i] == "revolute" || m_types[i] == "continuous" || m_types[i] == "prismatic";
   }
   /// As they are, without escapes.
   std::string linkName(ZqU32 i) const
   {
      return (m_kind.hasOddNames ? "a < \"b\" & 'c' > " : "link") + std::to_string(i);
   }
   std::string jointName(ZqU32 i) const
   {
      return (m_kind.hasOddNames ? "\xC3\xA9paule&" : "joint") + std::to_string(i);
   }

private:
   /// One time in so many.
   bool chance(ZqU32 times) { return m_random.index(1, times) == 1; }

   std::string randomType()
   {
      std::vector<std::string> types{"revolute", "continuous", "prismatic", "revolute"};
      if (m_kind.hasFixedJoints)
         types.insert(types.end(), {"fixed", "fixed"});
      if (m_kind.hasWideJoints)
         types.insert(types.end(), {"planar", "floating"});
      return types[m_random.index(0, static_cast<ZqU32>(types.size()) - 1)];
   }
   static std::string number(ZqReal value)
   {
      std::array<char, 32> text;
      return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
   }
   static std::string numbers(const ZqVector& v)
   {
      return number(v.x()) + ' ' + number(v.y()) + ' ' + number(v.z());
   }
   static std::string attribute(std::string_view name, const std::string& value)
   {
      std::string text = ' ' + std::string(name) + "=\"";
      for (const char c : value)
         text += c == '<' ? "&lt;" : c == '&' ? "&amp;" : c == '"' ? "&quot;" : std::string(1, c);
      return text + '"';
   }
   /// Every other one with a rotation, of which some are in a gimbal lock or next to it.
   std::string origin()
   {
      static constexpr std::array locks{pi / 2, -pi / 2, pi / 2 - 1e-9, -pi / 2 + 1e-9, 1.57};
      if (chance(5))
         return "";
      std::string text = "      <origin" + attribute("xyz", numbers(m_random.vector(0.5)));
      if (chance(2))
      {
         ZqVector rpy = m_random.vector(3.1);
         if (chance(3))
            rpy[1] = locks[m_random.index(0, static_cast<ZqU32>(locks.size()) - 1)];
         text += attribute("rpy", numbers(rpy));
      }
      return text + "/>\n";
   }
   /// The moments of a box, turned.
   std::string inertial()
   {
      const ZqReal mass = m_random.real(0.5, 4.0);
      const ZqVector edges(m_random.real(0.1, 0.5), m_random.real(0.1, 0.5),
                           m_random.real(0.1, 0.5));
      const ZqReal all = edges.magSquared();
      const ZqOrientation turn = chance(2) ? m_random.orientation() : ZqOrientation();
      const std::array axes{turn.xAxis(), turn.yAxis(), turn.zAxis()};
      std::string text = "    <inertial>\n" + origin() + "      <mass" +
                         attribute("value", number(mass)) + "/>\n      <inertia";
      for (ZqU32 i = 0; i < 3; ++i)
         for (ZqU32 j = i; j < 3; ++j)
         {
            ZqReal moment = 0.0;
            for (ZqU32 k = 0; k < 3; ++k)
               moment += axes[k][i] * axes[k][j] * mass * (all - edges[k] * edges[k]) / 12.0;
            const char name[] = {'i', "xyz"[i], "xyz"[j], '\0'};
            text += attribute(name, number(moment));
         }
      return text + "/>\n    </inertial>\n";
   }
   std::string shape(const std::string& element)
   {
      const auto length = [&] { return number(m_random.real(0.05, 0.4)); };
      std::string text = "    <" + element + ">\n" + origin() + "      <geometry>";
      switch (m_random.index(0, 2))
      {
      case 0:
         text += "<box" + attribute("size", length() + ' ' + length() + ' ' + length()) + "/>";
         break;
      case 1:
         text += "<cylinder" + attribute("radius", length()) + attribute("length", length()) + "/>";
         break;
      default:
         text += "<sphere" + attribute("radius", length()) + "/>";
      }
      text += "</geometry>\n";
      if (element == "visual" && chance(2))
         text += "      <material name=\"steel\"/>\n";
      return text + "    </" + element + ">\n";
   }
   std::string link(ZqU32 i)
   {
      std::string text = "  <link" + attribute("name", linkName(i)) + ">\n";
      if (i == 0 ? m_kind.isRootHeavy : m_types[i] != "fixed" || chance(2))
         text += inertial();
      if (m_kind.hasShapes)
      {
         const ZqU32 shapes = m_random.index(0, 2);
         for (ZqU32 k = 0; k < shapes; ++k)
            text += shape("visual") + shape("collision");
      }
      return text + "  </link>\n";
   }
   std::string joint(ZqU32 i)
   {
      const std::string& type = m_types[i];
      const ZqU32 parent = chance(3) ? m_random.index(0, i - 1) : i - 1;
      std::string text = "  <joint" + attribute("name", jointName(i)) + attribute("type", type) +
                         ">\n" + origin() + "      <parent" + attribute("link", linkName(parent)) +
                         "/>\n      <child" + attribute("link", linkName(i)) + "/>\n";
      if (type != "fixed" && type != "floating" && !chance(4))
         text += "      <axis" + attribute("xyz", axis()) + "/>\n";
      if (type == "revolute" || type == "prismatic")
         text += "      <limit" + attribute("lower", number(m_random.real(-3.0, -0.5))) +
                 attribute("upper", number(m_random.real(0.5, 3.0))) +
                 attribute("effort", number(m_random.real(10.0, 99.0))) +
                 attribute("velocity", number(m_random.real(1.0, 9.0))) + "/>\n";
      if (m_kind.hasDrives && hasOneFreedom(i) && chance(2))
         text += "      <dynamics" + attribute("damping", number(m_random.real(0.0, 1.0))) +
                 attribute("friction", number(m_random.real(0.0, 0.2))) + "/>\n";
      if (m_kind.hasMimics && hasOneFreedom(i))
         text += mimic(i);
      return text + "  </joint>\n";
   }
   /// Along an axis of the frame, or a random one.
   std::string axis()
   {
      if (chance(2))
         return numbers(m_random.unitVector());
      ZqVector v;
      v[m_random.index(0, 2)] = chance(2) ? 1.0 : -1.0;
      return numbers(v);
   }
   /// Of a joint with a lower number, so that there is no ring.
   std::string mimic(ZqU32 i)
   {
      std::vector<ZqU32> leaders;
      for (ZqU32 k = 1; k < i; ++k)
         if (hasOneFreedom(k))
            leaders.push_back(k);
      if (leaders.empty() || !chance(4))
         return "";
      const ZqU32 leader = leaders[m_random.index(0, static_cast<ZqU32>(leaders.size()) - 1)];
      return "      <mimic" + attribute("joint", jointName(leader)) +
             attribute("multiplier", number(m_random.real(-2.0, 2.0))) +
             attribute("offset", number(m_random.real(-0.3, 0.3))) + "/>\n";
   }
   std::string transmission(ZqU32 i)
   {
      const std::string name = std::to_string(i);
      return "  <transmission" + attribute("name", "transmission" + name) +
             ">\n    <type>transmission_interface/SimpleTransmission</type>\n    <joint" +
             attribute("name", jointName(i)) +
             ">\n      <hardwareInterface>hardware_interface/EffortJointInterface"
             "</hardwareInterface>\n    </joint>\n    <actuator" +
             attribute("name", "motor" + name) + ">\n      <mechanicalReduction>" +
             number(m_random.real(1.0, 120.0)) +
             "</mechanicalReduction>\n    </actuator>\n  </transmission>\n";
   }

   RandomValues m_random;
   UrdfKind m_kind;
   std::vector<std::string> m_types;
   std::string m_text;
};
} // namespace zqTest
