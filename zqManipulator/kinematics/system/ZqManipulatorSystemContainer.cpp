#include "zqManipulator/kinematics/system/ZqManipulatorSystemContainer.h"

template class ZqXmlVariableSharedElementType<ZqManipulatorSystem>;

namespace
{
/// At the end of its life gives an empty system to a pointer that has none, also after an exception.
class Fallback
{
public:
   explicit Fallback(boost::shared_ptr<ZqManipulatorSystem>& system) : m_system(system) {}
   Fallback(const Fallback&) = delete;
   Fallback& operator=(const Fallback&) = delete;
   ~Fallback()
   {
      if (!m_system)
         m_system.swap(m_empty);
   }

private:
   boost::shared_ptr<ZqManipulatorSystem>& m_system;
   boost::shared_ptr<ZqManipulatorSystem> m_empty{new ZqManipulatorSystem()};
};
} // namespace

ZqManipulatorSystemContainer::ZqManipulatorSystemContainer()
{
   ZqManipulatorSystemContainer::setAndDeleteElementPointer(new ZqManipulatorSystem());
}

ZqXmlObject* ZqManipulatorSystemContainer::clone() const
{
   return new ZqManipulatorSystemContainer(*this);
}

ZqXmlObject* ZqManipulatorSystemContainer::newObject() const
{
   return new ZqManipulatorSystemContainer();
}

bool ZqManipulatorSystemContainer::read(ZqXmlReader& reader)
{
   const Fallback fallback(m_element);
   return ZqXmlVariableSharedElementType::read(reader);
}

bool ZqManipulatorSystemContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqManipulatorSystemContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqManipulatorSystemContainer::token() const
{
   return classToken();
}

void ZqManipulatorSystemContainer::registerComponentCreators()
{
   registerComponentCreator(ZqManipulatorSystem::classToken(), ZqManipulatorSystem::creator);
}

void ZqManipulatorSystemContainer::setAndDeleteElementPointer(ZqManipulatorSystem* element)
{
   ZqXmlVariableSharedElementType::setAndDeleteElementPointer(
      element != nullptr ? element : new ZqManipulatorSystem());
}
