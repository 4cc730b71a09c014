#include "zqManipulator/foundation/proximity/ZqIntervalIntersectionProcessor.h"

#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/proximity/ZqBroadPhase.h"

using zqConvex::vec3;
using zqConvex::vector;

ZqIntervalIntersectionProcessor::ZqIntervalIntersectionProcessor() noexcept = default;
ZqIntervalIntersectionProcessor::~ZqIntervalIntersectionProcessor() = default;

ZqIntervalIntersectionProcessor::ZqIntervalIntersectionProcessor(
   const ZqIntervalIntersectionProcessor& other)
   : m_broadPhase(other.m_broadPhase != nullptr
                     ? std::make_unique<zqConvex::BroadPhase>(*other.m_broadPhase)
                     : nullptr)
{
}

ZqIntervalIntersectionProcessor&
ZqIntervalIntersectionProcessor::operator=(const ZqIntervalIntersectionProcessor& other)
{
   if (this == &other)
      return *this;
   if (m_broadPhase != nullptr && other.m_broadPhase != nullptr)
      *m_broadPhase = *other.m_broadPhase;
   else
      m_broadPhase = ZqIntervalIntersectionProcessor(other).m_broadPhase;
   return *this;
}

bool ZqIntervalIntersectionProcessor::setBoxes(const std::vector<ZqAxisAlignedBoundingBox>& boxes)
{
   if (boxes.size() > zqConvex::BroadPhase::capacity)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqIntervalIntersectionProcessor::setBoxes(): too many boxes, %zu\n",
         boxes.size());
      return false;
   }
   if (m_broadPhase == nullptr)
      m_broadPhase = std::make_unique<zqConvex::BroadPhase>();
   if (m_broadPhase->size() != boxes.size())
      m_broadPhase->reset(boxes.size());
   for (unsigned id = 0; id < boxes.size(); ++id)
      m_broadPhase->update(id, {vec3(boxes[id].lower()), vec3(boxes[id].upper())});
   return true;
}

bool ZqIntervalIntersectionProcessor::updateBox(unsigned id, const ZqAxisAlignedBoundingBox& box)
{
   if (id >= intervalCount())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqIntervalIntersectionProcessor::updateBox(): no box %u of %u\n",
                                  id, intervalCount());
      return false;
   }
   m_broadPhase->update(id, {vec3(box.lower()), vec3(box.upper())});
   return true;
}

void ZqIntervalIntersectionProcessor::sort()
{
   if (m_broadPhase != nullptr)
      m_broadPhase->sort();
}

auto ZqIntervalIntersectionProcessor::overlaps() -> const std::vector<Pair>&
{
   static const std::vector<Pair> none;
   sort();
   return m_broadPhase != nullptr ? m_broadPhase->overlaps() : none;
}

unsigned ZqIntervalIntersectionProcessor::intervalCount() const noexcept
{
   return m_broadPhase != nullptr ? m_broadPhase->size() : 0;
}

bool ZqIntervalIntersectionProcessor::getBox(unsigned id, ZqAxisAlignedBoundingBox& box) const
{
   if (id >= intervalCount())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqIntervalIntersectionProcessor::getBox(): no box %u of %u\n",
                                  id, intervalCount());
      return false;
   }
   const zqConvex::AlignedBox& kept = m_broadPhase->box(id);
   box = kept.isEmpty() ? ZqAxisAlignedBoundingBox()
                        : ZqAxisAlignedBoundingBox(vector(kept.lower), vector(kept.upper));
   return true;
}
