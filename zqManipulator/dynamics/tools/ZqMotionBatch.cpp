#include "zqManipulator/dynamics/tools/ZqMotionBatch.h"

#include "zqManipulator/dynamics/motion/ZqMotionBatchKernel.h"
#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/dynamics/tools/ZqBatchThreads.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace
{
using zqMotion::BatchJob;
using zqMotion::BatchKernel;
using InstructionSet = ZqMotionBatch::InstructionSet;

constexpr const char* instructionSetNames[] = {"baseline", "AVX2", "AVX-512"};

/// Null where the library was built without.
const BatchKernel* kernelOf(InstructionSet set)
{
   switch (set)
   {
   case InstructionSet::Baseline:
      return &zqMotion::baselineBatchKernel;
#ifdef ZQ_WIDE_BATCHES
   case InstructionSet::Avx2:
      return &zqMotion::avx2BatchKernel;
   case InstructionSet::Avx512:
      return &zqMotion::avx512BatchKernel;
#endif
   default:
      return nullptr;
   }
}

bool hasProcessor(InstructionSet set)
{
#ifdef ZQ_WIDE_BATCHES
   if (set == InstructionSet::Avx2)
      return __builtin_cpu_supports("avx2");
   if (set == InstructionSet::Avx512)
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
             __builtin_cpu_supports("avx512vl");
#endif
   return set == InstructionSet::Baseline;
}

InstructionSet widestInstructionSet()
{
   for (const InstructionSet set : {InstructionSet::Avx512, InstructionSet::Avx2})
      if (ZqMotionBatch::isSupported(set))
         return set;
   return InstructionSet::Baseline;
}

/// What the kernels count in.
struct alignas(64) WorkLine
{
   char bytes[64];
};
} // namespace

class ZqMotionBatch::Implementation
{
public:
   Implementation(const ZqIndividualManipulator& manipulator, const ZqVector& upGravity)
      : m_manipulator(&manipulator), m_upGravity(upGravity)
   {
      setInstructionSet(widestInstructionSet());
   }

   const ZqVector& upGravity() const { return m_upGravity; }
   void setUpGravity(const ZqVector& gravity) { m_upGravity = gravity; }
   InstructionSet instructionSet() const { return m_instructionSet; }
   void setInstructionSet(InstructionSet set)
   {
      m_instructionSet = set;
      m_kernel = kernelOf(set);
   }
   const BatchKernel& kernel() const { return *m_kernel; }
   ZqBatchThreads& threads() { return m_threads; }

   /// Begins an operation: counts the states by the positions, whose sizes have to fit.
   bool begin(const char* operation, Input positions);
   /// Whether an array is of the right size, or empty and may be; a message says that it is not.
   bool fits(const char* name, std::size_t size, std::size_t width, bool mayBeEmpty,
             const char* whose = "joints") const;
   /// Whether rates, accelerations or torques are; a free base has the second array.
   bool fits(const char* name, Input given) const
   {
      return fits(name, given.joints.size(), dof(), true) &&
             fits(name, given.bases.size(), job.isFree ? 6 : 0, true, "bases");
   }
   bool fits(const char* name, Output result) const
   {
      return fits(name, result.joints.size(), dof(), false) &&
             fits(name, result.bases.size(), 6, true, "bases");
   }

   void setMotion(Input velocities, Input given)
   {
      job.v = orNull(velocities.joints);
      job.baseV = orNull(velocities.bases);
      job.given = orNull(given.joints);
      job.baseGiven = orNull(given.bases);
   }
   void setResult(Output result)
   {
      job.result = result.joints.data();
      job.baseResult = orNull(result.bases);
   }

   std::size_t dof() const { return static_cast<std::size_t>(job.tree.count); }
   std::size_t directions() const { return dof() + (job.isFree ? 6 : 0); }
   bool run(BatchKernel::Function function);

   BatchJob job = {};

private:
   template <class T>
   static T* orNull(std::span<T> numbers)
   {
      return numbers.empty() ? nullptr : numbers.data();
   }
   static void fillSlots(const void* model, const ZqReal* q, const ZqReal* v, const ZqReal* a,
                         zqMotion::Slot<ZqReal>* slots);
   void runPart(ZqU32 part) const;

   const ZqIndividualManipulator* m_manipulator; ///< not owned
   ZqVector m_upGravity;
   InstructionSet m_instructionSet = InstructionSet::Baseline;
   const BatchKernel* m_kernel = nullptr;
   ZqBatchThreads m_threads;
   std::shared_ptr<const ZqMotionPlan> m_plan;
   std::vector<WorkLine> m_work; ///< a piece for each thread
   const char* m_operation = "";
   std::size_t m_states = 0;
   // The present run.
   BatchKernel::Function m_function = nullptr;
   ZqU32 m_parts = 1;
   std::size_t m_linesOfPart = 0;
};

bool ZqMotionBatch::Implementation::begin(const char* operation, Input positions)
{
   m_operation = operation;
   m_plan = m_manipulator->sharedMotionPlan();
   job = {};
   job.tree = m_plan->tree();
   job.isFree = !m_manipulator->isFixedBase();
   job.upGravity = zqMotion::plain(m_upGravity);
   job.fillSlots = fillSlots;
   job.model = this;
   job.q = positions.joints.data();
   job.placements = orNull(positions.bases);
   const ZqCoordinateSystemTransformation& place = m_manipulator->coordSysXForm();
   job.placement = {zqMotion::plain(place.translation()), zqMotion::plain(place.orientation())};

   m_states = dof() > 0 ? positions.joints.size() / dof() : positions.bases.size() / 7;
   return fits("positions", positions.joints.size(), dof(), false) &&
          fits("positions", positions.bases.size(), 7, !job.isFree, "bases");
}

bool ZqMotionBatch::Implementation::fits(const char* name, std::size_t size, std::size_t width,
                                         bool mayBeEmpty, const char* whose) const
{
   if (size == m_states * width || (mayBeEmpty && size == 0))
      return true;
   Zq::Print::instance().write(
      Zq::Rejected, "ZqMotionBatch::%s(): %s of %s: %zu numbers, where %zu states need %zu.\n",
      m_operation, name, whose, size, m_states, m_states * width);
   return false;
}

void ZqMotionBatch::Implementation::fillSlots(const void* model, const ZqReal* q, const ZqReal* v,
                                              const ZqReal* a, zqMotion::Slot<ZqReal>* slots)
{
   const auto& self = *static_cast<const Implementation*>(model);
   const auto& joints = self.m_plan->joints;
   const auto& links = self.m_manipulator->linkPointerVector();
   for (std::size_t k = 0; k < self.m_plan->slotLinks.size(); ++k)
   {
      const ZqU32 i = self.m_plan->slotLinks[k];
      const ZqLinkKinematicsContainer& joint = links[i]->linkKinematicsContainer();
      const int parent = joints[i].parent;
      zqMotion::place(joint, parent < 0 ? nullptr : &joints[static_cast<std::size_t>(parent)], q[i],
                      slots[k]);
      zqMotion::accelerate(joint, q[i], v != nullptr ? v[i] : 0.0, a != nullptr ? a[i] : 0.0,
                           slots[k]);
   }
}

bool ZqMotionBatch::Implementation::run(BatchKernel::Function function)
{
   m_function = function;
   m_linesOfPart = (m_kernel->workSize(job.tree) + sizeof(WorkLine) - 1) / sizeof(WorkLine);
   m_parts = m_threads.count();
   if (m_work.size() < m_linesOfPart * m_parts)
      m_work.resize(m_linesOfPart * m_parts);
   if (m_parts == 1)
      runPart(0);
   else
      m_threads.run([](const void* self, ZqU32 part)
                    { static_cast<const Implementation*>(self)->runPart(part); },
                    this);
   return true;
}

/// Whole packs of states, so that each state has its lane whatever the number of threads.
void ZqMotionBatch::Implementation::runPart(ZqU32 part) const
{
   const auto lanes = static_cast<std::size_t>(m_kernel->lanes);
   const std::size_t packs = (m_states + lanes - 1) / lanes;
   const std::size_t first = packs * part / m_parts * lanes;
   const std::size_t end = std::min(packs * (part + 1) / m_parts * lanes, m_states);
   if (first < end)
      m_function(job, first, end, const_cast<WorkLine*>(m_work.data()) + m_linesOfPart * part);
}

ZqMotionBatch::ZqMotionBatch(const ZqIndividualManipulator& manipulator, const ZqVector& upGravity)
   : m_implementation(std::make_unique<Implementation>(manipulator, upGravity))
{
}

ZqMotionBatch::ZqMotionBatch(ZqMotionBatch&& other) noexcept = default;
ZqMotionBatch& ZqMotionBatch::operator=(ZqMotionBatch&& other) noexcept = default;
ZqMotionBatch::~ZqMotionBatch() = default;

const ZqVector& ZqMotionBatch::upGravity() const
{
   return m_implementation->upGravity();
}

void ZqMotionBatch::setUpGravity(const ZqVector& gravity)
{
   m_implementation->setUpGravity(gravity);
}

bool ZqMotionBatch::isSupported(InstructionSet set)
{
   return kernelOf(set) != nullptr && hasProcessor(set);
}

ZqMotionBatch::InstructionSet ZqMotionBatch::instructionSet() const
{
   return m_implementation->instructionSet();
}

bool ZqMotionBatch::setInstructionSet(InstructionSet set)
{
   if (isSupported(set))
   {
      m_implementation->setInstructionSet(set);
      return true;
   }
   const auto index = static_cast<std::size_t>(set);
   Zq::Print::instance().write(
      Zq::Rejected, "ZqMotionBatch::setInstructionSet(): %s is not at hand.\n",
      index < std::size(instructionSetNames) ? instructionSetNames[index] : "what was asked for");
   return false;
}

ZqU32 ZqMotionBatch::threads() const
{
   return m_implementation->threads().count();
}

bool ZqMotionBatch::setThreads(ZqU32 count)
{
   if (m_implementation->threads().setCount(count))
      return true;
   Zq::Print::instance().write(Zq::SystemFault,
                               "ZqMotionBatch::setThreads(): of %u threads there are %u.\n", count,
                               threads());
   return false;
}

bool ZqMotionBatch::frames(Input positions, std::span<ZqReal> result)
{
   Implementation& self = *m_implementation;
   if (!self.begin("frames", positions) ||
       !self.fits("frames", result.size(), self.dof() * 7, false))
      return false;
   self.job.result = result.data();
   return self.run(self.kernel().frames);
}

bool ZqMotionBatch::inverseDynamics(Input positions, Input velocities, Input accelerations,
                                    Output torques)
{
   Implementation& self = *m_implementation;
   if (!self.begin("inverseDynamics", positions) || !self.fits("velocities", velocities) ||
       !self.fits("accelerations", accelerations) || !self.fits("torques", torques))
      return false;
   self.setMotion(velocities, accelerations);
   self.setResult(torques);
   return self.run(self.kernel().inverseDynamics);
}

bool ZqMotionBatch::forwardDynamics(Input positions, Input velocities, Input torques,
                                    Output accelerations)
{
   Implementation& self = *m_implementation;
   if (!self.begin("forwardDynamics", positions) || !self.fits("velocities", velocities) ||
       !self.fits("torques", torques) || !self.fits("accelerations", accelerations))
      return false;
   self.setMotion(velocities, torques);
   self.setResult(accelerations);
   return self.run(self.kernel().forwardDynamics);
}

bool ZqMotionBatch::massMatrix(Input positions, std::span<ZqReal> result)
{
   Implementation& self = *m_implementation;
   if (!self.begin("massMatrix", positions) ||
       !self.fits("mass matrices", result.size(), self.directions() * self.directions(), false))
      return false;
   self.job.result = result.data();
   return self.run(self.kernel().massMatrix);
}

bool ZqMotionBatch::step(Output positions, Output velocities, Input torques, ZqReal dt)
{
   Implementation& self = *m_implementation;
   const Input oldVelocities{velocities.joints, velocities.bases};
   if (!self.begin("step", {positions.joints, positions.bases}) ||
       !self.fits("velocities", velocities.joints.size(), self.dof(), false) ||
       !self.fits("velocities", velocities.bases.size(), self.job.isFree ? 6 : 0, false, "bases") ||
       !self.fits("torques", torques))
      return false;
   if (!std::isfinite(dt))
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqMotionBatch::step(): the step, %g, is not finite.\n", dt);
      return false;
   }
   self.setMotion(oldVelocities, torques);
   self.job.dt = dt;
   self.job.newQ = positions.joints.data();
   self.job.newV = velocities.joints.data();
   self.job.newPlacements = positions.bases.data();
   self.job.newBaseV = velocities.bases.data();
   return self.run(self.kernel().step);
}
