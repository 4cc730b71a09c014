#include "apps/zqsim/interactions.h"

#include "apps/zqsim/shapes.h"
#include "zqManipulator/contact/forces/ZqMassSpringCollisionForceProcessor.h"
#include "zqManipulator/contact/forces/ZqPointContactForceProcessor.h"
#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlEnumType.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"

#include <nlohmann/json.hpp>

#include <map>
#include <memory>

namespace
{
using namespace zqsim;

/// Null for what is no single value.
Json valueOf(const ZqXmlObject& object)
{
   if (const auto* number = dynamic_cast<const ZqXmlBasicType<ZqReal>*>(&object))
      return number->value();
   if (const auto* flag = dynamic_cast<const ZqXmlBasicType<bool>*>(&object))
      return flag->value();
   if (const auto* count = dynamic_cast<const ZqXmlBasicType<ZqU32>*>(&object))
      return count->value();
   if (const auto* index = dynamic_cast<const ZqXmlBasicType<int>*>(&object))
      return index->value();
   if (const auto* choice = dynamic_cast<const ZqXmlEnumType<ZqU32>*>(&object))
      return choice->valueToken() != nullptr ? Json(choice->valueToken()->localName())
                                             : Json(choice->value());
   return nullptr;
}

/// The type of an object, and its values by the names that they have in documents.
Json describeObject(const ZqXmlCompoundType& object)
{
   Json values = Json::object();
   for (const auto& [name, component] : object.componentMap())
   {
      // A plain member is told by a copy.
      const std::unique_ptr<const ZqXmlObject> copy(component->isBasicType() ? component->clone()
                                                                             : nullptr);
      if (copy == nullptr)
         continue;
      if (Json value = valueOf(*copy); !value.is_null())
         values[std::string(name.localName())] = std::move(value);
   }
   return {{"type", className(object)}, {"values", values}};
}

/// Null for a law of a class that does not tell.
const ZqBaseDissipativeForceProcessor* frictionOf(const ZqBaseCollisionForceProcessor& law)
{
   if (const auto* told = dynamic_cast<const ZqMassSpringCollisionForceProcessor*>(&law))
      return told->dissipativeForceProcessor();
   if (const auto* point = dynamic_cast<const ZqPointContactForceProcessor*>(&law))
      return point->dissipativeForceProcessor();
   return nullptr;
}

std::string textOf(const Json& object)
{
   std::string values;
   for (const auto& [name, value] : object.at("values").items())
      values += (values.empty() ? ": " : ", ") + name + ' ' + text(value);
   return text(object.at("type")) + values + '\n';
}
} // namespace

zqsim::Json zqsim::describeInteractions(const ZqManipulatorSystem& system)
{
   const ZqLinkInteractionsVector& interactions = system.linkInteractionsVector();
   Json result = Json::array();
   for (unsigned i = 0; i < interactions.size(); ++i)
   {
      result.push_back(describeObject(interactions[i]));
      const auto* contact = dynamic_cast<const ZqLinkCollisionForce*>(&interactions[i]);
      if (contact == nullptr)
         continue;
      const ZqBaseCollisionForceProcessor* law = contact->collisionForceContainer().topElement();
      const ZqBaseDissipativeForceProcessor* friction = law != nullptr ? frictionOf(*law) : nullptr;
      result.back()["law"] = law != nullptr ? describeObject(*law) : Json();
      result.back()["friction"] = friction != nullptr ? describeObject(*friction) : Json();
   }
   return result;
}

std::string zqsim::describeInteractions(const Json& interactions)
{
   if (interactions.empty())
      return "";
   std::map<std::string, int> counts;
   for (const Json& interaction : interactions)
      ++counts[interaction.at("type").get<std::string>()];
   std::string result;
   for (const auto& [type, count] : counts)
      result += (result.empty() ? "\ninteractions: " : ", ") + type + ' ' + std::to_string(count);
   result += '\n';
   for (const Json& interaction : interactions)
   {
      result += "  " + textOf(interaction);
      for (const char* part : {"law", "friction"})
         if (interaction.contains(part))
            result += std::string("    ") + part + ' ' +
                      (interaction.at(part).is_null() ? "none\n" : textOf(interaction.at(part)));
   }
   return result;
}
