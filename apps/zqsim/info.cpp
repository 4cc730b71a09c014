#include "apps/zqsim/commands.h"
#include "apps/zqsim/interactions.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/shapes.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <array>
#include <memory>

namespace
{
using namespace zqsim;

template <std::size_t count>
const char* nameOf(const std::array<const char*, count>& names, ZqU32 value)
{
   return value < count ? names[value] : "unknown";
}

/// What is told of every joint; of one that has no D-H parameters, they are null.
Json jointOf(const ZqManipulatorLink& link)
{
   static constexpr std::array types{"rotational", "prismatic"};
   static constexpr std::array dhTypes{"paul", "generalPaul", "craig", "generalCraig", "general"};
   Json result{{"joint", "none"},  {"dhType", "-"},    {"a", nullptr},        {"d", nullptr},
               {"alpha", nullptr}, {"theta", nullptr}, {"precursor", nullptr}};
   const ZqLinkKinematics* joint = link.linkKinematicsContainer().topElement();
   if (joint == nullptr)
      return result;
   const auto* dhJoint = dynamic_cast<const ZqDenavitHartenberg*>(joint);
   if (dhJoint == nullptr)
   {
      result["joint"] = className(*joint);
      return result;
   }
   result["joint"] = nameOf(types, dhJoint->jointType());
   result["dhType"] = nameOf(dhTypes, dhJoint->dhType());
   if (dhJoint->dhType() != ZqDenavitHartenberg::General)
   {
      result["a"] = dhJoint->dhA();
      result["d"] = dhJoint->dhD();
      result["alpha"] = ZqReal(dhJoint->dhAlpha());
      result["theta"] = ZqReal(dhJoint->dhTheta());
   }
   if (dhJoint->dhType() != ZqDenavitHartenberg::Paul &&
       dhJoint->dhType() != ZqDenavitHartenberg::Craig)
      result["precursor"] = toJson(dhJoint->precursor());
   return result;
}

/// Adds the shapes, and the label of the link that they are of when that is another one.
void addShapes(const ZqManipulatorLink& link, Json& result)
{
   const ZqLinkReferenceDescription& reference = link.linkReferenceDescription();
   result["shapes"] = describeShapes(link);
   result["shapesOf"] =
      reference.isShapeReferenced() ? Json(reference.referencedLinkLabel()) : Json();
}

Json describeLink(const ZqManipulatorLink& link, ZqReal position, ZqReal rate)
{
   const ZqManipulatorLink* parent = link.parentLink();
   Json result{{"label", link.linkLabel()},
               {"parent", parent != nullptr ? parent->linkLabel() : ""}};
   result.update(jointOf(link));
   result["lowerLimit"] = bounded(link.jointActuator().lowerLimit());
   result["upperLimit"] = bounded(link.jointActuator().upperLimit());
   result["mass"] = ZqReal(link.massProperties().mass());
   addShapes(link, result);
   result["position"] = position;
   result["rate"] = rate;
   return result;
}

Json describeManipulator(const ZqStatedSystem& scene, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = scene.system().manipulators()[index];
   const ZqIndividualManipulator& model = manipulator.concreteReference();
   const ZqManipulatorReferenceDescription& reference =
      manipulator.manipulatorReferenceDescription();
   const ZqPositionState& position = scene.state().positionStates()[index];
   const ZqVelocityState& velocity = scene.state().velocityStates()[index];

   ZqReal mass = model.massProperties().mass();
   Json base{{"label", model.linkLabel()},
             {"mass", mass},
             {"place", toJson(manipulator.coordSysXForm())},
             {"frame", toJson(position.coordSysXForm())},
             {"linearVelocity", toJson(velocity.generalVelocity().linear())},
             {"angularVelocity", toJson(velocity.generalVelocity().angular())}};
   addShapes(model, base);
   Json links = Json::array();
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const ZqU32 i = link->linkIndex();
      mass += link->massProperties().mass();
      links.push_back(
         describeLink(*link, position.jointPositions()[i], velocity.jointVelocities()[i]));
   }
   return {{"label", manipulator.manipulatorLabel()},
           {"reference", reference.isManipulatorReferenced()
                            ? Json(reference.referencedManipulatorLabel())
                            : Json()},
           {"fixedBase", manipulator.isFixedBase()},
           {"degreesOfFreedom", manipulator.totalDof()},
           {"mass", mass},
           {"boundingRadius", bounded(model.absoluteBoundingSphere().radius())},
           {"base", base},
           {"links", links}};
}

/// Appends what hangs on a node, and on that.
void collectAttachments(const ZqManipulatorAttachmentNode& node, const ZqStatedSystem& scene,
                        Json& attachments)
{
   const auto labelOf = [&](ZqU32 index)
   {
      const ZqIndividualManipulator* manipulator = scene.manipulatorByIndex(index);
      return manipulator != nullptr ? Json(manipulator->manipulatorLabel()) : Json();
   };
   for (const ZqManipulatorAttachmentNode& child : node.childNodes())
   {
      Json attachment{{"name", child.name()},
                      {"manipulator", labelOf(child.manipulatorIndex())},
                      {"carrier", labelOf(node.manipulatorIndex())},
                      {"link", child.linkLabel()}};
      attachment.update(toJson(child.offset()));
      attachments.push_back(attachment);
      collectAttachments(child, scene, attachments);
   }
}

/// How many shapes of each type there are, without bounding volumes.
Json countShapes(const Json& manipulators)
{
   Json counts = Json::object();
   const auto count = [&](const Json& link)
   {
      for (const Json& shape : link.at("shapes"))
         if (shape.at("level") == 0)
         {
            Json& number = counts[shape.at("type").get<std::string>()];
            number = number.is_null() ? 1 : number.get<int>() + 1;
         }
   };
   for (const Json& manipulator : manipulators)
   {
      count(manipulator.at("base"));
      for (const Json& link : manipulator.at("links"))
         count(link);
   }
   return counts;
}

Json collect(const ZqStatedSystem& scene)
{
   Json manipulators = Json::array();
   ZqU32 degreesOfFreedom = 0;
   ZqReal mass = 0.0;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      manipulators.push_back(describeManipulator(scene, i));
      degreesOfFreedom += scene.system().manipulators()[i].totalDof();
      mass += manipulators.back().at("mass").get<ZqReal>();
   }
   Json attachments = Json::array();
   for (const ZqManipulatorAttachmentNode& root : scene.configuration().attachmentMap().baseNodes())
      collectAttachments(root, scene, attachments);
   return {{"time", scene.state().time()},
           {"upGravity", toJson(scene.environment().upGravityVector())},
           {"joints", scene.system().jointDof()},
           {"degreesOfFreedom", degreesOfFreedom},
           {"mass", mass},
           {"shapes", countShapes(manipulators)},
           {"manipulators", manipulators},
           {"attachments", attachments},
           {"interactions", describeInteractions(scene.system())}};
}

std::string describeFrame(const Json& frame)
{
   return "at " + text(frame.at("position")) + ", turned by " + text(frame.at("orientation"));
}

/// The types of the shapes of a link, the bounding volumes in brackets.
std::string describeShapes(const Json& link)
{
   std::string result;
   for (const Json& shape : link.at("shapes"))
   {
      const std::string type = text(shape.at("type"));
      result += (result.empty() ? "" : " ") + (shape.at("level") == 0 ? type : "(" + type + ")");
   }
   if (!link.at("shapesOf").is_null())
      result += " of " + text(link.at("shapesOf"));
   return result;
}

/// Nothing when no link has any.
std::string tableOfShapes(const Json& links)
{
   constexpr std::array<Column, 2> columns{{{"link", "/label"}, {"shape", "/shape"}}};
   Json rows = Json::array();
   for (const Json& link : links)
      if (const std::string shapes = describeShapes(link); !shapes.empty())
         rows.push_back({{"label", link.at("label")}, {"shape", shapes}});
   return rows.empty() ? "" : table(rows, columns);
}

std::string describeManipulator(const Json& manipulator)
{
   constexpr std::array<Column, 11> modelColumns{{{"link", "/label"},
                                                  {"parent", "/parent"},
                                                  {"joint", "/joint"},
                                                  {"D-H", "/dhType"},
                                                  {"a", "/a"},
                                                  {"d", "/d"},
                                                  {"alpha", "/alpha"},
                                                  {"theta", "/theta"},
                                                  {"lower", "/lowerLimit"},
                                                  {"upper", "/upperLimit"},
                                                  {"mass", "/mass"}}};
   constexpr std::array<Column, 3> stateColumns{
      {{"link", "/label"}, {"position", "/position"}, {"rate", "/rate"}}};

   const Json& base = manipulator.at("base");
   const Json& links = manipulator.at("links");
   const Json zero = toJson(ZqVector());
   std::string result = '\n' + text(manipulator.at("label")) + ": ";
   if (!manipulator.at("reference").is_null())
      result += "reference to " + text(manipulator.at("reference")) + ", ";
   result += manipulator.at("fixedBase").get<bool>() ? "fixed base" : "free base";
   result += ", degrees of freedom " + text(manipulator.at("degreesOfFreedom")) + ", mass " +
             text(manipulator.at("mass")) + " kg, bounding radius " +
             text(manipulator.at("boundingRadius")) + " m\n";
   result += "  base link \"" + text(base.at("label")) + "\" of " + text(base.at("mass")) +
             " kg, " + describeFrame(base.at("frame")) + '\n';
   if (base.at("linearVelocity") != zero || base.at("angularVelocity") != zero)
      result += "  moving at " + text(base.at("linearVelocity")) + " m/s, turning at " +
                text(base.at("angularVelocity")) + " rad/s\n";
   if (const std::string shapes = describeShapes(base); !shapes.empty())
      result += "  shape " + shapes + '\n';
   if (!links.empty())
      result += table(links, modelColumns) + table(links, stateColumns);
   return result + tableOfShapes(links);
}

std::string describe(const Json& data)
{
   constexpr std::array<Column, 5> attachmentColumns{{{"attached", "/manipulator"},
                                                      {"to", "/carrier"},
                                                      {"link", "/link"},
                                                      {"at", "/position"},
                                                      {"name", "/name"}}};
   std::string result =
      text(data.at("model")) + ": manipulators " + std::to_string(data.at("manipulators").size()) +
      ", joints " + text(data.at("joints")) + ", degrees of freedom " +
      text(data.at("degreesOfFreedom")) + ", mass " + text(data.at("mass")) + " kg\n";
   result += "time " + text(data.at("time")) + " s, gravity " + text(data.at("upGravity")) +
             " m/s^2 (up); lengths in m, angles in rad\n";
   std::string shapes;
   for (const auto& [type, count] : data.at("shapes").items())
      shapes += (shapes.empty() ? "shapes: " : ", ") + type + ' ' + text(count);
   if (!shapes.empty())
      result += shapes + '\n';
   for (const Json& manipulator : data.at("manipulators"))
      result += describeManipulator(manipulator);
   if (!data.at("attachments").empty())
      result += "\nattachments\n" + table(data.at("attachments"), attachmentColumns);
   return result + describeInteractions(data.at("interactions"));
}
} // namespace

zqsim::Run zqsim::info(CLI::App& arguments)
{
   const auto options = std::make_shared<ModelArguments>();
   options->declare(arguments);
   return [options]
   {
      ZqStatedSystem scene;
      warnOf(readDocument(options->model, scene));
      Json data{{"model", options->model}};
      data.update(collect(scene));
      if (options->json)
         print(data);
      else
         print(describe(data));
      return Done;
   };
}
