#include "zqManipulator/tools/urdf/ZqUrdfParser.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlText.h"
#include "zqManipulator/foundation/xml/ZqXmlWhiteSpace.h"
#include "zqManipulator/tools/urdf/ZqUrdfRotations.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <span>

namespace ZqUrdf
{
namespace
{
/// Of a name with a namespace, which stands before it without a colon, what follows its last separator.
ZqString shortName(std::string_view name)
{
   return ZqString(name.substr(name.find_last_of("#/:") + 1));
}

/// As C reads it, a number may begin with a plus.
bool parseNumber(std::string_view word, ZqReal& number)
{
   if (word.size() > 1 && word[0] == '+' && word[1] != '-')
      word.remove_prefix(1);
   return ZqXmlText<ZqReal>::parse(word, number);
}

bool parseNumbers(std::string_view text, std::span<ZqReal> numbers)
{
   return std::all_of(numbers.begin(), numbers.end(),
                      [&](ZqReal& number)
                      { return parseNumber(ZqXmlWhiteSpace::takeWord(text), number); }) &&
          ZqXmlWhiteSpace::isAllSpace(text);
}

/// What stands before the name of a root element `robot` that has a namespace; in XML without one, no name has such
/// a character.
std::string_view namespaceOf(std::string_view root)
{
   constexpr std::string_view name = "robot";
   if (!root.ends_with(name) || root.find_first_of(":/") == root.npos)
      return {};
   return root.substr(0, root.size() - name.size());
}

constexpr std::array countWords{"", "a number", "two numbers", "three numbers", "four numbers"};
} // namespace

/// The attributes of the element at the cursor. Each is asked for by name; those that nobody asked for are losses.
class Parser::Attributes
{
public:
   explicit Attributes(Parser& parser)
      : m_parser(parser), m_line(parser.m_reader.lineNumber()), m_element(parser.tag())
   {
      const ZqXmlReader& reader = parser.m_reader;
      m_isAsked.resize(reader.attributeCount());
   }
   Attributes(const Attributes&) = delete;
   Attributes& operator=(const Attributes&) = delete;
   ~Attributes()
   {
      if (m_parser.stopped())
         return;
      for (unsigned i = 0; i < m_isAsked.size(); ++i)
         if (!m_isAsked[i])
         {
            m_parser.m_reader.setAttributeCursor(i);
            const ZqString name = shortName(m_parser.m_reader.attributeNameText());
            m_parser.lose(m_element + "/@" + name, "an attribute that is not known", m_line);
         }
   }

   /// Puts the cursor on an attribute. False when there is none of the name.
   bool find(std::string_view name)
   {
      ZqXmlReader& reader = m_parser.m_reader;
      for (unsigned i = 0; i < m_isAsked.size() && !m_parser.stopped(); ++i)
      {
         reader.setAttributeCursor(i);
         if (reader.attributeNameText() != name)
            continue;
         m_isAsked[i] = true;
         return !m_parser.isXacroValue(reader.attributeValueText());
      }
      return false;
   }
   bool require(std::string_view name)
   {
      if (find(name))
         return true;
      if (!m_parser.stopped())
         m_parser.m_reader.fail("the element \"" + m_element + "\" has no attribute \"" +
                                ZqString(name) + '"');
      return false;
   }
   ZqString text(std::string_view name)
   {
      return find(name) ? m_parser.m_reader.attributeValue() : ZqString();
   }
   bool numbers(std::string_view name, std::span<ZqReal> result)
   {
      return find(name) && parse(result);
   }
   bool number(std::string_view name, ZqReal& result) { return numbers(name, {&result, 1}); }
   bool requireNumbers(std::string_view name, std::span<ZqReal> result)
   {
      return require(name) && parse(result);
   }
   bool requireNumber(std::string_view name, ZqReal& result)
   {
      return requireNumbers(name, {&result, 1});
   }
   /// A length of a shape.
   bool requireLength(std::string_view name, ZqReal& result)
   {
      if (!requireNumber(name, result))
         return false;
      if (result < 0.0)
         m_parser.m_reader.failAttributeValue("a length of at least 0");
      return !m_parser.stopped();
   }
   unsigned long line() const { return m_line; }

private:
   bool parse(std::span<ZqReal> result)
   {
      if (parseNumbers(m_parser.m_reader.attributeValueText(), result))
         return true;
      m_parser.m_reader.failAttributeValue(countWords[result.size()]);
      return false;
   }

   Parser& m_parser;
   unsigned long m_line;
   ZqString m_element;
   std::vector<bool> m_isAsked;
};

namespace
{
bool readVector(auto& attributes, const char* name, ZqVector& vector)
{
   std::array<ZqReal, 3> numbers{};
   if (!attributes.numbers(name, numbers))
      return false;
   vector = {numbers[0], numbers[1], numbers[2]};
   return true;
}
} // namespace

void Parser::refuseXacro()
{
   m_reader.fail("this is xacro, which has to be expanded first: xacro robot.urdf.xacro > "
                 "robot.urdf",
                 "xacro");
}

bool Parser::isRoot(std::string_view name)
{
   return name.substr(namespaceOf(name).size()) == "robot";
}

/// The name of the element at the cursor, without the namespace of the root.
std::string_view Parser::tag() const
{
   const std::string_view name = m_reader.tagText();
   return name.starts_with(m_namespace) ? name.substr(m_namespace.size()) : name;
}

/// Refuses elements of xacro, which has a namespace of its own.
bool Parser::isXacroTag()
{
   const bool isXacro = m_reader.tagText().find("/xacro") != std::string_view::npos;
   if (isXacro)
      refuseXacro();
   return isXacro;
}

/// Refuses a value that xacro would have to compute.
bool Parser::isXacroValue(std::string_view text)
{
   const bool isXacro = text.find("${") != text.npos || text.find("$(") != text.npos;
   if (isXacro)
      refuseXacro();
   return isXacro;
}

void Parser::lose(const ZqString& element, const ZqString& text, unsigned long line,
                  ZqConversionLoss::Kind kind)
{
   m_losses.push_back({kind, m_place, element, text, line});
}

/// Tells the element at the cursor as a loss, and passes over it.
void Parser::loseElement(const ZqString& text)
{
   lose(shortName(tag()), text, m_reader.lineNumber());
   m_reader.skipElement();
}

void Parser::setPlace(const char* kind, const ZqString& name)
{
   m_reader.nameElement(kind, name);
   m_place = ZqString(kind) + ' ' + quoted(name);
}

/// Reads the children of the element at the cursor up to its end.
void Parser::readChildren(std::initializer_list<Child> children)
{
   if (m_reader.nodeKind() != ZqXmlReader::StartTag)
      return;
   std::vector<bool> isRead(children.size());
   for (;;)
   {
      const unsigned kind = m_reader.nextNode();
      if (kind == ZqXmlReader::EndTag || kind == ZqXmlReader::EndOfInput)
         return;
      if (kind == ZqXmlReader::Text)
      {
         lose("text", "a text where elements stand", m_reader.lineNumber());
         continue;
      }
      if (isXacroTag())
         return;
      const auto* child = std::find_if(children.begin(), children.end(),
                                       [&](const Child& known) { return tag() == known.name; });
      if (child == children.end())
      {
         loseElement("an element that is not known here");
         continue;
      }
      const auto number = static_cast<std::size_t>(child - children.begin());
      if (isRead[number] && !child->isList)
         loseElement("told more than once; the first one counts");
      else
         child->read();
      isRead[number] = true;
   }
}

ZqString Parser::readName(const char* attribute)
{
   Attributes attributes(*this);
   if (!attributes.require(attribute))
      return {};
   ZqString name = m_reader.attributeValue();
   if (name.empty())
      m_reader.failAttributeValue("a name");
   return name;
}

ZqString Parser::readText()
{
   std::string_view text;
   m_reader.readText(text);
   return ZqString(ZqXmlWhiteSpace::trimmed(text));
}

bool Parser::parse()
{
   if (!ZqXmlReader::isStart(m_reader.nextNode()))
   {
      if (!m_reader.failed())
         m_reader.fail("expected the element \"robot\", but received nothing");
      return false;
   }
   if (isXacroTag())
      return false;
   m_namespace = namespaceOf(m_reader.tagText());
   if (!isRoot(m_reader.tagText()))
   {
      m_reader.fail("expected the element \"robot\", but received \"" +
                    ZqString(m_reader.tagText()) + '"');
      return false;
   }
   readRobot();
   // What follows the root is the parser's to refuse.
   while (m_reader.nextNode() != ZqXmlReader::EndOfInput)
      ;
   if (m_reader.failed())
      return false;
   checkTransmissions();
   return true;
}

void Parser::readRobot()
{
   {
      Attributes attributes(*this);
      if (!attributes.require("name"))
         return;
      m_robot.name = m_reader.attributeValue();
      m_reader.nameElement("robot", m_robot.name);
      attributes.find("version");
   }
   const auto inPlace = [this](auto read)
   {
      read();
      m_place = "robot";
   };
   readChildren({{"link", true, [&] { inPlace([this] { readLink(); }); }},
                 {"joint", true, [&] { inPlace([this] { readJoint(); }); }},
                 {"transmission", true, [&] { inPlace([this] { readTransmission(); }); }},
                 {"material", true,
                  [&]
                  {
                     Material material;
                     const unsigned long line = m_reader.lineNumber();
                     inPlace([&] { readMaterial(material); });
                     if (!m_robot.materials.emplace(material.name, material).second)
                        lose("material " + quoted(material.name),
                             "told more than once; the first one counts", line);
                  }},
                 {"gazebo", true,
                  [&]
                  {
                     const unsigned long line = m_reader.lineNumber();
                     ZqString reference;
                     {
                        Attributes attributes(*this);
                        reference = attributes.text("reference");
                     }
                     m_reader.skipElement();
                     lose("gazebo",
                          "an extension for another simulator" +
                             (reference.empty() ? "" : ", of " + quoted(reference)),
                          line);
                  }}});
}

/// The name of a link or joint, which is where things stand from now on.
bool Parser::takeName(Attributes& attributes, const char* kind, ZqString& name)
{
   if (!attributes.require("name"))
      return false;
   name = m_reader.attributeValue();
   setPlace(kind, name);
   if (name.empty())
      m_reader.failAttributeValue("a name");
   return !stopped();
}

void Parser::readLink()
{
   Link link;
   link.line = m_reader.lineNumber();
   {
      Attributes attributes(*this);
      if (!takeName(attributes, "link", link.name))
         return;
   }
   readChildren({{"inertial", false, [&] { readInertial(link); }},
                 {"visual", true, [&] { readShape(link.visuals, true); }},
                 {"collision", true, [&] { readShape(link.collisions, false); }}});
   m_robot.links.push_back(std::move(link));
}

void Parser::readOrigin(ZqCoordinateSystemTransformation& origin)
{
   {
      Attributes attributes(*this);
      ZqVector p;
      ZqVector rpy;
      std::array<ZqReal, 4> quaternion{};
      if (readVector(attributes, "xyz", p))
         origin.setTranslation(p);
      if (readVector(attributes, "rpy", rpy) && !(rpy == ZqVector()))
         origin.setOrientation(orientationOf(rpy));
      if (attributes.numbers("quat_xyzw", quaternion))
      {
         const auto& [x, y, z, w] = quaternion;
         ZqOrientation orientation(w, x, y, z);
         if (!orientation.normalize())
            m_reader.failAttributeValue("a quaternion that is not zero");
         origin.setOrientation(orientation);
      }
   }
   readNothing();
}

void Parser::readInertial(Link& link)
{
   link.massLine = m_reader.lineNumber();
   ZqCoordinateSystemTransformation origin;
   std::optional<ZqReal> mass;
   std::optional<ZqSecondMoment> moment;
   readChildren({{"origin", false, [&] { readOrigin(origin); }},
                 {"mass", false,
                  [&]
                  {
                     {
                        Attributes attributes(*this);
                        ZqReal value = 0.0;
                        if (attributes.requireNumber("value", value) && !(value >= 0.0))
                           m_reader.failAttributeValue("a mass of at least 0");
                        mass = value;
                     }
                     readNothing();
                  }},
                 {"inertia", false,
                  [&]
                  {
                     readInertia(moment.emplace());
                     readNothing();
                  }}});
   if (stopped())
      return;
   if (!mass || !moment)
   {
      m_reader.fail(ZqString("the inertial has no element \"") + (mass ? "inertia" : "mass") + '"');
      return;
   }
   link.body.set(*mass, ZqVector(), *moment, false);
   link.body.transformBy(origin);
}

void Parser::readInertia(ZqSecondMoment& moment)
{
   Attributes attributes(*this);
   std::array<ZqReal, 6> m{};
   constexpr std::array names{"ixx", "iyy", "izz", "ixy", "ixz", "iyz"};
   for (std::size_t i = 0; i < m.size(); ++i)
      if (!attributes.requireNumber(names[i], m[i]))
         return;
   // Some tell the other half of the matrix, too.
   constexpr std::array mirrored{"iyx", "izx", "izy"};
   for (std::size_t i = 0; i < mirrored.size(); ++i)
      if (ZqReal other = 0.0; attributes.number(mirrored[i], other) && other != m[i + 3])
         lose(ZqString("inertia/@") + mirrored[i],
              "the inertia is not symmetric; the other half counts", attributes.line());
   if (stopped())
      return;
   moment = ZqSecondMoment(m[0], m[1], m[2], m[3], m[4], m[5]);
   checkInertia(moment);
}

/// A negative moment is a mistake that no computation survives. One that exceeds the sum of the others is a
/// mistake as well, with which all can be computed.
void Parser::checkInertia(const ZqSecondMoment& moment)
{
   constexpr ZqReal tolerance = 1e-6; // of numbers that were written with six digits
   ZqVector moments;
   ZqOrientation axes;
   if (!moment.principalAxes(moments, axes))
   {
      m_reader.fail("the inertia is not finite", "value");
      return;
   }
   const ZqReal least = -tolerance * (std::abs(moments.x()) + std::abs(moments.z()));
   ZqString found;
   for (const ZqReal value : {moments.x(), moments.y(), moments.z()})
   {
      found += found.empty() ? "" : " ";
      ZqXmlText<ZqReal>::append(found, value);
   }
   if (moments.x() < least)
      m_reader.fail("the inertia has a negative principal moment: " + found + " kg m^2", "value");
   else if (moments.x() + moments.y() - moments.z() < least)
      m_reader.remark("no body has such principal moments, of which one exceeds the sum of the "
                      "others: " +
                         found + " kg m^2",
                      "impossible-body");
}

void Parser::readShape(std::vector<Shape>& shapes, bool isVisual)
{
   Shape shape;
   shape.line = m_reader.lineNumber();
   {
      Attributes attributes(*this);
      shape.name = attributes.text("name");
   }
   bool hasGeometry = false;
   const auto geometry = [&]
   {
      hasGeometry = true;
      readGeometry(shape.geometry);
   };
   const auto origin = [&] { readOrigin(shape.origin); };
   if (isVisual)
      readChildren({{"origin", false, origin},
                    {"geometry", false, geometry},
                    {"material", false, [&] { readMaterial(shape.material.emplace()); }}});
   else
      readChildren({{"origin", false, origin}, {"geometry", false, geometry}});
   if (!hasGeometry && !stopped())
      m_reader.fail("the shape has no element \"geometry\"");
   shapes.push_back(std::move(shape));
}

void Parser::readGeometry(Geometry& geometry)
{
   using Kind = Geometry::Kind;
   bool isKnown = false;
   const auto take = [&](Kind kind, auto read)
   {
      return [this, &geometry, &isKnown, kind, read]
      {
         if (isKnown)
         {
            loseElement("told more than once; the first one counts");
            return;
         }
         isKnown = true;
         geometry.kind = kind;
         {
            Attributes attributes(*this);
            read(attributes);
         }
         readNothing();
      };
   };
   const auto readRound = [&](Attributes& attributes)
   {
      ZqReal radius = 0.0;
      ZqReal length = 0.0;
      if (attributes.requireLength("radius", radius))
         attributes.requireLength("length", length);
      geometry.size = {radius, length, 0.0};
   };
   const auto readBox = [&](Attributes& attributes)
   {
      if (!attributes.require("size") || !readVector(attributes, "size", geometry.size))
         return;
      if (!(geometry.size.x() >= 0.0 && geometry.size.y() >= 0.0 && geometry.size.z() >= 0.0))
         m_reader.failAttributeValue("three lengths of at least 0");
   };
   const auto readSphere = [&](Attributes& attributes)
   {
      ZqReal radius = 0.0;
      attributes.requireLength("radius", radius);
      geometry.size = {radius, 0.0, 0.0};
   };
   const auto readMesh = [&](Attributes& attributes)
   {
      if (attributes.require("filename"))
         geometry.fileName = m_reader.attributeValue();
      geometry.size = {1.0, 1.0, 1.0};
      if (readVector(attributes, "scale", geometry.size) &&
          geometry.size.x() * geometry.size.y() * geometry.size.z() == 0.0)
         m_reader.failAttributeValue("a scale that is not zero");
   };
   readChildren({{"box", true, take(Kind::Box, readBox)},
                 {"cylinder", true, take(Kind::Cylinder, readRound)},
                 {"capsule", true, take(Kind::Capsule, readRound)},
                 {"sphere", true, take(Kind::Sphere, readSphere)},
                 {"mesh", true, take(Kind::Mesh, readMesh)}});
   if (!isKnown && !stopped())
      m_reader.fail("the geometry is none of box, cylinder, capsule, sphere and mesh");
}

void Parser::readMaterial(Material& material)
{
   {
      Attributes attributes(*this);
      material.name = attributes.text("name");
      if (m_place == "robot")
         setPlace("material", material.name);
   }
   readChildren({{"color", false, [&] { readColor(material); }},
                 {"texture", false, [this] { loseElement("textures have no place"); }}});
}

void Parser::readColor(Material& material)
{
   {
      Attributes attributes(*this);
      if (attributes.requireNumbers("rgba", material.color.emplace()) &&
          !std::all_of(material.color->begin(), material.color->end(),
                       [](ZqReal value) { return value >= 0.0 && value <= 1.0; }))
         lose("color/@rgba", "a color that is not between 0 and 1, and is taken as it is",
              attributes.line(), ZqConversionLoss::Kind::Changed);
   }
   readNothing();
}

void Parser::readJoint()
{
   using Type = Joint::Type;
   constexpr std::array<std::pair<std::string_view, Type>, 6> types{
      {{"revolute", Type::Revolute},
       {"continuous", Type::Continuous},
       {"prismatic", Type::Prismatic},
       {"fixed", Type::Fixed},
       {"floating", Type::Floating},
       {"planar", Type::Planar}}};
   Joint joint;
   joint.line = m_reader.lineNumber();
   {
      Attributes attributes(*this);
      if (!takeName(attributes, "joint", joint.name) || !attributes.require("type"))
         return;
      const auto* type = std::find_if(types.begin(), types.end(),
                                      [&](const auto& known)
                                      { return known.first == m_reader.attributeValueText(); });
      if (type == types.end())
      {
         m_reader.failAttributeValue(
            "one of revolute, continuous, prismatic, fixed, floating and planar");
         return;
      }
      joint.type = type->second;
   }
   const auto nameOf = [this](ZqString& name)
   {
      name = readName("link");
      readNothing();
   };
   const bool hasAxis = joint.type != Type::Fixed && joint.type != Type::Floating;
   std::optional<unsigned long> limitLine;
   const auto noPlace = [this](const char* text) { return [this, text] { loseElement(text); }; };
   readChildren(
      {{"origin", false, [&] { readOrigin(joint.origin); }},
       {"parent", false, [&] { nameOf(joint.parent); }},
       {"child", false, [&] { nameOf(joint.child); }},
       {"axis", false, [&] { hasAxis ? readAxis(joint.axis) : void(m_reader.skipElement()); }},
       {"limit", false,
        [&]
        {
           limitLine = m_reader.lineNumber();
           if (joint.hasOneFreedom())
              readLimit(joint);
           else if (joint.type == Type::Fixed)
              m_reader.skipElement();
           else
              loseElement("limits of a joint of several degrees of freedom have no place");
        }},
       {"dynamics", false,
        [&]
        {
           if (joint.hasOneFreedom())
              readDynamics(joint);
           else if (joint.type == Type::Fixed)
              m_reader.skipElement();
           else
              loseElement("friction of a joint of several degrees of freedom has no place");
        }},
       {"mimic", false,
        [&]
        {
           if (joint.hasOneFreedom())
              readMimic(joint);
           else
              loseElement("only a joint that turns or slides can mimic another one");
        }},
       {"safety_controller", false, noPlace("limits of a controller have no place")},
       {"calibration", false, noPlace("positions for calibration have no place")}});
   if (stopped())
      return;
   if (joint.parent.empty() || joint.child.empty())
      m_reader.fail(ZqString("the joint has no element \"") +
                    (joint.parent.empty() ? "parent" : "child") + '"');
   else if (!limitLine && (joint.type == Type::Revolute || joint.type == Type::Prismatic))
      m_reader.fail("the joint has no element \"limit\", which only a joint of type continuous "
                    "may lack");
   m_robot.joints.push_back(std::move(joint));
}

void Parser::readAxis(ZqVector& axis)
{
   {
      Attributes attributes(*this);
      if (attributes.require("xyz") && readVector(attributes, "xyz", axis))
      {
         axis = unitAxis(axis);
         if (axis == ZqVector())
            m_reader.failAttributeValue("an axis that is not zero");
      }
   }
   readNothing();
}

void Parser::readLimit(Joint& joint)
{
   Limit& limit = joint.limit;
   const unsigned long line = m_reader.lineNumber();
   {
      Attributes attributes(*this);
      const bool hasLower = attributes.number("lower", limit.lower);
      const bool hasUpper = attributes.number("upper", limit.upper);
      attributes.number("effort", limit.effort);
      attributes.number("velocity", limit.velocity);
      if ((hasLower || hasUpper) && joint.type == Joint::Type::Continuous && !stopped())
         lose("limit", "a continuous joint has no limits of position", line);
   }
   if (!stopped())
      checkLimit(joint, line);
   readNothing();
}

void Parser::checkLimit(Joint& joint, unsigned long line)
{
   Limit& limit = joint.limit;
   if (joint.type != Joint::Type::Continuous && !(limit.lower <= limit.upper))
      m_reader.fail("the lower limit of the joint is above the upper one", "value");
   // What exporters write for a limit that they do not know.
   if (limit.velocity <= 0.0)
   {
      lose("limit/@velocity", "a greatest velocity that is not above zero is taken for none", line,
           ZqConversionLoss::Kind::Changed);
      limit.velocity = 1e300;
   }
   if (limit.effort < 0.0)
   {
      lose("limit/@effort", "a greatest effort below zero is taken for none", line,
           ZqConversionLoss::Kind::Changed);
      limit.effort = 1e300;
   }
}

void Parser::readDynamics(Joint& joint)
{
   {
      Attributes attributes(*this);
      for (const auto& [name, value] :
           {std::pair{"damping", &joint.damping}, {"friction", &joint.friction}})
         if (attributes.number(name, *value) && *value < 0.0)
            m_reader.failAttributeValue("a number of at least 0");
   }
   readNothing();
}

void Parser::readMimic(Joint& joint)
{
   Mimic& mimic = joint.mimic.emplace();
   mimic.line = m_reader.lineNumber();
   {
      Attributes attributes(*this);
      if (attributes.require("joint"))
         mimic.joint = m_reader.attributeValue();
      attributes.number("multiplier", mimic.multiplier);
      attributes.number("offset", mimic.offset);
   }
   readNothing();
}

/// Of a transmission, the joint and the reduction have a place. It names both as elements or, as in old documents,
/// the reduction as a child of its own.
void Parser::readTransmission()
{
   Transmission transmission;
   transmission.line = m_reader.lineNumber();
   {
      Attributes attributes(*this);
      transmission.name = attributes.text("name");
      attributes.find("type");
   }
   setPlace("transmission", transmission.name);
   std::vector<ZqString> joints;
   bool isReduced = false;
   const auto readReduction = [&]
   {
      if (std::exchange(isReduced, true))
      {
         loseElement("told more than once; the first one counts");
         return;
      }
      const ZqString text = readText();
      if (!stopped() &&
          (!parseNumber(text, transmission.reduction) || transmission.reduction == 0.0))
         m_reader.failValue("a reduction that is not zero", text);
   };
   const auto expect = [&](const char* element, const char* usual)
   {
      return Child{element, true,
                   [this, &transmission, element, usual]
                   {
                      if (readText() != usual)
                         transmission.lose(element);
                   }};
   };
   const Child reductionChild{"mechanicalReduction", true, readReduction};
   const Child interfaceChild = expect("hardwareInterface", usualTransmission::interface);
   readChildren({expect("type", usualTransmission::type),
                 {"joint", true,
                  [&]
                  {
                     joints.push_back(readName("name"));
                     readChildren({reductionChild, interfaceChild});
                  }},
                 {"actuator", true,
                  [&]
                  {
                     transmission.motor = readName("name");
                     readChildren({reductionChild, interfaceChild});
                  }},
                 reductionChild});
   if (stopped())
      return;
   if (joints.size() != 1)
      lose("transmission", "a transmission of " + std::to_string(joints.size()) + " joints",
           transmission.line);
   else if (!m_robot.transmissions.emplace(joints.front(), transmission).second)
      lose("transmission", "the joint has another one; the first one counts", transmission.line);
}

/// Joints may stand behind their transmissions.
void Parser::checkTransmissions()
{
   std::map<std::string_view, const Joint*> joints;
   for (const Joint& joint : m_robot.joints)
      if (joint.hasOneFreedom())
         joints.emplace(joint.name, &joint);
   for (auto& [name, transmission] : m_robot.transmissions)
   {
      m_place = "transmission " + quoted(transmission.name);
      const auto joint = joints.find(name);
      if (joint == joints.end())
      {
         lose("transmission", "there is no joint " + quoted(name) + " that turns or slides",
              transmission.line);
         continue;
      }
      const ZqString& link = joint->second->child;
      const auto isLost = [](const ZqString& given, const ZqString& usual)
      { return !given.empty() && given != usual; };
      if (isLost(transmission.name, usualTransmission::name(link)) ||
          isLost(transmission.motor, usualTransmission::motor(link)))
         transmission.lose("names");
      if (!transmission.lost.empty())
         lose("transmission", transmission.lost + ": no place", transmission.line);
   }
}
} // namespace ZqUrdf
