#include "zqManipulator/foundation/xml/ZqXmlClassRegistry.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

#include <mutex>

namespace
{
struct UserClasses
{
   std::mutex mutex;
   ZqXmlBaseVariableCompoundType::CreatorMap classes;
};

/// Never destroyed, so that it serves the initialisers and the destructors of static objects as well.
UserClasses& registry()
{
   static UserClasses& theRegistry = *new UserClasses;
   return theRegistry;
}
} // namespace

bool Zq::registerClass(const ZqToken& token, ZqXmlBaseVariableCompoundType::Creator creator)
{
   UserClasses& known = registry();
   {
      const std::scoped_lock lock(known.mutex);
      if (creator != nullptr && known.classes.try_emplace(token, creator).first->second == creator)
         return true;
   }
   Zq::Print::instance().write(
      Zq::Rejected,
      "Zq::registerClass(): \"%s\" is the name of another class, or has no "
      "creator.\n",
      token.token().c_str());
   return false;
}

ZqXmlBaseVariableCompoundType::Creator Zq::registeredCreator(const ZqToken& token)
{
   UserClasses& known = registry();
   const std::scoped_lock lock(known.mutex);
   const auto found = known.classes.find(token);
   return found == known.classes.end() ? nullptr : found->second;
}

ZqXmlBaseVariableCompoundType::CreatorMap Zq::registeredCreators()
{
   UserClasses& known = registry();
   const std::scoped_lock lock(known.mutex);
   return known.classes;
}
