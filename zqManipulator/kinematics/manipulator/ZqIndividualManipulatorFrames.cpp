#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqLinkUnion.h"

#include <vector>

namespace
{
/// Whether a link can have a frame as its primary one; otherwise a message.
bool takesPrimaryFrame(const ZqManipulatorLink& link, const ZqCoordinateSystemTransformation& frame)
{
   const bool isRigid = ZqLinkUnion::isRigid(frame);
   if (isRigid && (link.linkKinematicsContainer().topElement() != nullptr ||
                   frame == ZqCoordinateSystemTransformation::identity()))
      return true;
   Zq::Print::instance().write(
      Zq::Rejected, "ZqManipulatorLink::transformPrimaryFrame(): link \"%s\": %s.\n",
      link.linkLabel().c_str(),
      isRigid ? "it has no joint, and keeps the identity" : "the frame is not a rigid one");
   return false;
}
} // namespace

bool ZqManipulatorLink::transformPrimaryFrame(const ZqCoordinateSystemTransformation& frame)
{
   if (!takesPrimaryFrame(*this, frame))
      return false;
   const ZqCoordinateSystemTransformation toNew = frame.inverse() * primaryFrame();
   setPrimaryFrame(frame);
   transformComponentsBy(toNew);
   return true;
}

bool ZqIndividualManipulator::replaceLinkKinematics(const ZqString& label,
                                                    const ZqLinkKinematics& joint)
{
   ZqManipulatorLink* link = linkByIdentifier(label);
   if (link == nullptr)
      return false;
   link->setLinkKinematics(joint);
   fitAbsoluteBoundingSphere();
   return true;
}

bool ZqIndividualManipulator::replaceLinkKinematics(ZqU32 index, const ZqLinkKinematics& joint)
{
   const ZqManipulatorLink* link = linkByIndex(index);
   return link != nullptr && replaceLinkKinematics(link->linkLabel(), joint);
}

bool ZqIndividualManipulator::replaceLinkPrimaryFrame(const ZqString& label,
                                                      const ZqCoordinateSystemTransformation& frame)
{
   ZqManipulatorLink* link = linkByIdentifier(label);
   if (link == nullptr)
      return false;
   link->setPrimaryFrame(frame);
   fitAbsoluteBoundingSphere();
   return true;
}

bool ZqIndividualManipulator::replaceLinkPrimaryFrame(ZqU32 index,
                                                      const ZqCoordinateSystemTransformation& frame)
{
   const ZqManipulatorLink* link = linkByIndex(index);
   return link != nullptr && replaceLinkPrimaryFrame(link->linkLabel(), frame);
}

bool ZqIndividualManipulator::transformPrimaryFrame(const ZqString& label,
                                                    const ZqCoordinateSystemTransformation& frame)
{
   const LinkPointerMap& links = linkPointerMap();
   const auto found = links.find(label);
   if (found == links.end())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqIndividualManipulator::transformPrimaryFrame()->bad link label, %s",
         label.c_str());
      return false;
   }
   if (found->second == nullptr)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqIndividualManipulator::transformPrimaryFrame()->bad link for label, %s",
         label.c_str());
      return false;
   }
   ZqManipulatorLink& link = *found->second;
   if (!takesPrimaryFrame(link, frame))
      return false;
   aboutToModifyLink(label);
   const ZqCoordinateSystemTransformation T = frame.inverse() * link.primaryFrame();
   link.transformPrimaryFrame(frame);
   ZqLinkEdit edit;
   edit.restate(link.linkIndex(), label, {T});
   apply(edit);
   fitAbsoluteBoundingSphere();
   return true;
}

bool ZqIndividualManipulator::transformAllPrimaryFramesToIdentity()
{
   std::vector<ZqManipulatorLink*> links(linkPointerVector());
   links.push_back(m_concreteReference);
   // Who cannot share shapes any longer takes them over as they are, before any are restated.
   for (ZqManipulatorLink* link : links)
      if (link->linkReferenceDescription().isShapeReferenced() &&
          (link->referenceLink() == nullptr || link->referenceLink() == link ||
           !(link->referenceLink()->primaryFrame() == link->primaryFrame())))
         link->removeLinkReferences();
   ZqLinkEdit edit;
   for (ZqManipulatorLink* link : links)
   {
      const ZqCoordinateSystemTransformation T = link->primaryFrame();
      if (T == ZqCoordinateSystemTransformation::identity())
         continue;
      if (link->linkReferenceDescription().isShapeReferenced())
      {
         link->transformAllButShapesBy(T);
         link->setPrimaryFrame(ZqCoordinateSystemTransformation::identity());
         link->shapesChange();
      }
      else
         link->transformPrimaryFrame(ZqCoordinateSystemTransformation::identity());
      edit.restate(link->linkIndex(), link->linkLabel(), {T});
   }
   apply(edit);
   fitAbsoluteBoundingSphere();
   return true;
}

bool ZqIndividualManipulator::transformLinkComponentsBy(const ZqString& label,
                                                        const ZqCoordinateSystemTransformation& T)
{
   if (!aboutToModifyLink(label))
      return false;
   // A copy: the argument may be a frame of the link.
   const ZqCoordinateSystemTransformation copy = T;
   linkByIdentifier(label)->transformComponentsBy(copy);
   fitAbsoluteBoundingSphere();
   return true;
}
