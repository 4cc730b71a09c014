#include "zqManipulator/simulation/interactions/ZqLinkInteractionsVector.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"

template class ZqXmlVariableVectorType<ZqBaseLinkInteractions>;

ZqXmlObject* ZqLinkInteractionsVector::clone() const
{
   return new ZqLinkInteractionsVector(*this);
}

ZqXmlObject* ZqLinkInteractionsVector::newObject() const
{
   return new ZqLinkInteractionsVector();
}

bool ZqLinkInteractionsVector::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqLinkInteractionsVector*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqLinkInteractionsVector::token() const
{
   return classToken();
}

void ZqLinkInteractionsVector::registerComponentCreators()
{
   registerComponentCreator(ZqSpringAndDamperBetweenLinks::classToken(),
                            ZqSpringAndDamperBetweenLinks::creator);
   registerComponentCreator(ZqLinkCollisionForce::classToken(), ZqLinkCollisionForce::creator);
   registerComponentCreator(ZqLatchedDoorLinks::classToken(), ZqLatchedDoorLinks::creator);
}

void ZqLinkInteractionsVector::beginTrial() const
{
   for (const ZqBaseLinkInteractions* interaction : vectorContainer())
      if (interaction != nullptr)
         interaction->beginTrial();
}

void ZqLinkInteractionsVector::endTrial() const
{
   for (const ZqBaseLinkInteractions* interaction : vectorContainer())
      if (interaction != nullptr)
         interaction->endTrial();
}

void ZqLinkInteractionsVector::apply(const ZqModelEdit& edit)
{
   for (ZqU32 i = size(); i-- > 0;)
   {
      ZqBaseLinkInteractions* interaction = vectorContainer()[i];
      if (interaction == nullptr || interaction->apply(edit))
         continue;
      erase(i);
      Zq::Print::instance().write(
         Zq::Oddity,
         "ZqLinkInteractionsVector::apply(): interaction %u is removed with "
         "a link of its own.\n",
         i);
   }
}

void ZqLinkInteractionsVector::scaleBy(const ZqModelScaling& scaling)
{
   for (ZqBaseLinkInteractions* interaction : vectorContainer())
      if (interaction != nullptr)
         interaction->scaleBy(scaling);
}
