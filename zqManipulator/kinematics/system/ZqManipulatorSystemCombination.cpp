#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>
#include <utility>

namespace
{
void rejectCombination(const char* operation, const ZqString& why)
{
   Zq::Print::instance().write(Zq::Rejected, "ZqManipulatorSystem::%s(): %s.\n", operation,
                               why.c_str());
}

/// Whether an operation of manipulators will succeed, by trying it on a copy; what it says is passed on when it
/// will not.
template <class Operation>
bool succeeds(const Operation& operation)
{
   std::vector<Zq::Diagnostic> found;
   {
      const Zq::DiagnosticCollector collector;
      if (operation())
         return true;
      found = collector.diagnostics();
   }
   for (const Zq::Diagnostic& diagnostic : found)
      Zq::Print::instance().report(diagnostic);
   return false;
}
} // namespace

/// Everybody who holds indices or labels follows what moved.
void ZqManipulatorSystem::follow(const ZqModelEdit& edit)
{
   m_linkInteractionsVector.apply(edit);
   m_collisionExclusionMap.apply(edit);
   m_manipulatorAttachmentMap.apply(edit);
   mapManipulators();
   attachCollisionExclusionMap();
}

std::vector<ZqString> ZqManipulatorSystem::manipulatorLabels() const
{
   std::vector<ZqString> labels;
   for (const ZqIndividualManipulator& manipulator : m_manipulators)
      labels.push_back(manipulator.manipulatorLabel());
   return labels;
}

bool ZqManipulatorSystem::combineManipulator(ZqU32 first, ZqU32 second, const ZqString& link,
                                             const ZqCoordinateSystemTransformation& transform)
{
   return combine(first, second, link, transform).has_value();
}

bool ZqManipulatorSystem::combineManipulator(const ZqString& first, const ZqString& second,
                                             const ZqString& link,
                                             const ZqCoordinateSystemTransformation& transform)
{
   ZqU32 firstIndex = numberOfManipulators();
   ZqU32 secondIndex = numberOfManipulators();
   for (const auto& [label, index] : {std::pair(&first, &firstIndex), {&second, &secondIndex}})
      if (!findManipulator(*label, *index))
      {
         rejectCombination("combineManipulator", "there is no manipulator \"" + *label +
                                                    "\" to combine at link \"" + link + "\"");
         return false;
      }
   return combineManipulator(firstIndex, secondIndex, link, transform);
}

std::optional<ZqModelEdit>
ZqManipulatorSystem::combine(ZqU32 first, ZqU32 second, const ZqString& link,
                             const ZqCoordinateSystemTransformation& transform)
{
   if (first >= numberOfManipulators() || second >= numberOfManipulators())
   {
      rejectCombination("combineManipulator",
                        "there is no manipulator " +
                           std::to_string(first < numberOfManipulators() ? second : first) +
                           " to combine at link \"" + link + "\"");
      return std::nullopt;
   }
   const ZqIndividualManipulator& mounted = m_manipulators[first];
   const ZqIndividualManipulator& carrier = m_manipulators[second];
   if (first == second || &mounted.concreteReference() == &carrier ||
       &carrier.concreteReference() == &mounted)
   {
      rejectCombination("combineManipulator", "manipulator \"" + mounted.manipulatorLabel() +
                                                 "\" on link \"" + link + "\" of manipulator \"" +
                                                 carrier.manipulatorLabel() +
                                                 "\": one of the two is or refers to the other");
      return std::nullopt;
   }
   if (!succeeds(
          [&]
          {
             ZqIndividualManipulator trial = carrier.concreteReference();
             trial.setManipulatorLabel(carrier.manipulatorLabel());
             return trial.combineManipulator(link, mounted, transform);
          }))
      return std::nullopt;

   // Those that refer to one of the two keep its model.
   separate(second);
   separate(first);
   Holders before = holders();
   const ZqString label = m_manipulators[first].manipulatorLabel();
   ZqLinkEdit::Labels labels = m_manipulators[first].linkLabels();
   labels.pop_back();
   m_collisionExclusionMap.excludeByLinks(first, labels);
   const auto record = m_manipulators[second].combine(link, m_manipulators[first], transform);
   if (!record)
      return std::nullopt;
   ZqModelEdit edit;
   edit.setManipulators(ZqRenumbering::removed(first, 1));
   edit.setLinks(second, record->links);
   edit.addTransfer(first, second - (first < second ? 1 : 0), record->transfer);
   m_manipulators.erase(first);
   follow(edit);
   m_beforeCombining.keep(label, manipulatorLabels(), std::move(before), holders());
   return edit;
}

bool ZqManipulatorSystem::uncombineManipulator(const ZqString& label, ZqU32& parent, ZqU32& child,
                                               ZqCoordinateSystemTransformation& transform)
{
   const auto uncombined = uncombine(label);
   if (!uncombined)
      return false;
   parent = uncombined->parent;
   child = uncombined->child;
   transform = uncombined->transform;
   return true;
}

std::optional<ZqManipulatorSystem::Uncombined> ZqManipulatorSystem::uncombine(const ZqString& label)
{
   const auto found = std::find_if(
      m_manipulators.begin(), m_manipulators.end(),
      [&label](const ZqIndividualManipulator& manipulator)
      { return manipulator.concreteReference().usingManipulatorLabels().contains(label); });
   if (found == m_manipulators.end())
   {
      rejectCombination("uncombineManipulator",
                        "no link of any manipulator has manipulator \"" + label + "\" merged in");
      return std::nullopt;
   }
   const auto index = static_cast<ZqU32>(found - m_manipulators.begin());
   Uncombined result;
   ZqIndividualManipulator taken;
   if (!succeeds(
          [&]
          {
             ZqIndividualManipulator trial = found->concreteReference();
             return trial.uncombine(label, taken, result.transform).has_value();
          }))
      return std::nullopt;

   separate(index);
   std::optional<Holders> before = m_beforeCombining.take(label, manipulatorLabels(), holders());
   const auto record = m_manipulators[index].uncombine(label, taken, result.transform);
   if (!record)
      return std::nullopt;
   result.child = std::min(record->otherIndex, numberOfManipulators());
   result.parent = index + (result.child <= index ? 1 : 0);
   result.linkLabel = record->linkLabel;
   result.edit.setManipulators(ZqRenumbering::inserted(result.child, 1));
   result.edit.setLinks(index, record->links);
   result.edit.addTransfer(index, result.child, record->transfer);
   auto& manipulators = m_manipulators.vectorContainer();
   manipulators.insert(manipulators.begin() + result.child, std::move(taken));
   follow(result.edit);
   if (before)
   {
      m_linkInteractionsVector = std::move(before->interactions);
      m_collisionExclusionMap = std::move(before->exclusions);
      m_manipulatorAttachmentMap = std::move(before->attachments);
      attachCollisionExclusionMap();
   }
   return result;
}

// With state and configuration

void ZqStatedSystem::follow(const ZqModelEdit& edit)
{
   m_state.apply(edit);
   m_state.positionStates().resize(numberOfManipulators());
   m_state.velocityStates().resize(numberOfManipulators());
   for (ZqU32 i = 0; i < numberOfManipulators(); ++i)
      fitJoints(i);
   m_configuration.apply(edit);
   attachConfiguration();
   m_propagationResults.clear();
   m_activeState.reset();
   resetReportActiveState();
}

bool ZqStatedSystem::combineManipulator(ZqU32 first, ZqU32 second, const ZqString& link,
                                        const ZqCoordinateSystemTransformation& transform)
{
   const ZqIndividualManipulator* mounted = manipulatorByIndex(first);
   ZqLinkEdit::Labels labels;
   if (mounted != nullptr)
   {
      labels = mounted->concreteReference().linkLabels();
      labels.pop_back();
   }
   // On a copy, so that what is shared is only copied when there is a change.
   ZqManipulatorSystem combined = system();
   const std::optional<ZqModelEdit> edit = combined.combine(first, second, link, transform);
   if (!edit)
      return false;
   const ZqString label = mounted->manipulatorLabel();
   setSystem(combined);
   ZqManipulatorSystemConfiguration before = m_configuration;
   m_configuration.collisionExclusionMap().excludeByLinks(first, labels);
   m_configuration.collisionExclusionMapForCA().excludeByLinks(first, labels);
   follow(*edit);
   m_beforeCombining.keep(label, system().manipulatorLabels(), std::move(before), m_configuration);
   return true;
}

bool ZqStatedSystem::combineManipulator(const ZqString& first, const ZqString& second,
                                        const ZqString& link,
                                        const ZqCoordinateSystemTransformation& transform)
{
   ZqU32 indices[2] = {numberOfManipulators(), numberOfManipulators()};
   lookupManipulatorIndexFromLabel(first, indices[0]);
   lookupManipulatorIndexFromLabel(second, indices[1]);
   if (std::max(indices[0], indices[1]) < numberOfManipulators())
      return combineManipulator(indices[0], indices[1], link, transform);
   rejectCombination("combineManipulator",
                     "there is no manipulator \"" +
                        (indices[0] < numberOfManipulators() ? second : first) +
                        "\" to combine at link \"" + link + "\"");
   return false;
}

bool ZqStatedSystem::uncombineManipulator(const ZqString& label, ZqU32& parent, ZqU32& child,
                                          ZqCoordinateSystemTransformation& transform)
{
   ZqManipulatorSystem apart = system();
   const auto uncombined = apart.uncombine(label);
   if (!uncombined)
      return false;
   auto before = m_beforeCombining.take(label, system().manipulatorLabels(), m_configuration);
   setSystem(apart);
   follow(uncombined->edit);
   if (before)
   {
      m_configuration = std::move(*before);
      attachConfiguration();
   }

   // The base moves on as the link had it.
   const ZqIndividualManipulator& carrier = *manipulatorByIndex(uncombined->parent);
   const ZqIndividualManipulator& taken = *manipulatorByIndex(uncombined->child);
   const ZqManipulatorLink& link = *carrier.linkByIdentifier(uncombined->linkLabel);
   ZqManipulatorActiveState state;
   state.setPositionState(m_state.positionStates()[uncombined->parent]);
   state.setVelocityState(m_state.velocityStates()[uncombined->parent]);
   const ZqCoordinateSystemTransformation X_LB =
      uncombined->transform * taken.primaryFrame().inverse();
   const ZqCoordinateSystemTransformation X_SL =
      link.primaryFrameInSystem(state.activePositionState());
   m_state.positionStates()[uncombined->child].setCoordSysXForm(taken.coordSysXForm().inverse() *
                                                                (X_SL * X_LB));
   ZqGeneralMotion velocity;
   if (!taken.isFixedBase())
   {
      velocity = link.primaryFrameVelocityInSystem(state);
      velocity.setLinear(velocity.linear() +
                         velocity.angular().cross(X_SL.orientation() * X_LB.translation()));
   }
   m_state.velocityStates()[uncombined->child].setGeneralVelocity(velocity);
   parent = uncombined->parent;
   child = uncombined->child;
   transform = uncombined->transform;
   return true;
}

bool ZqStatedSystem::keepCombinations()
{
   m_combinations.clear();
   bool allAreKept = true;
   for (const ZqIndividualManipulator& manipulator : system().manipulators())
   {
      if (manipulator.usingManipulatorLabels().empty() ||
          ZqCombination::append(manipulator, m_combinations))
         continue;
      allAreKept = false;
      Zq::Print::instance().write(Zq::Oddity,
                                  "ZqStatedSystem::keepCombinations(): manipulator \"%s\" was "
                                  "changed since it was combined, and its parts are left out.\n",
                                  manipulator.manipulatorLabel().c_str());
   }
   return allAreKept;
}

/// Puts together what a document says that its manipulators are made of, where that makes just these.
void ZqStatedSystem::takeCombinations()
{
   const ZqCombination::Combinations& combinations = m_combinations;
   auto& manipulators = m_systemContainer.element()->m_manipulators;
   bool anyIsMade = false;
   for (ZqU32 i = 0; i < combinations.size(); ++i)
   {
      if (combinations[i].carrier() != ZqCombination::noCarrier)
         continue;
      const ZqString& label = combinations[i].manipulator().manipulatorLabel();
      const auto manipulator = std::find_if(manipulators.begin(), manipulators.end(),
                                            [&label](const ZqIndividualManipulator& candidate)
                                            { return candidate.manipulatorLabel() == label; });
      ZqIndividualManipulator built;
      bool isMade = false;
      if (manipulator != manipulators.end())
      {
         const Zq::DiagnosticCollector unheard;
         isMade = ZqCombination::build(combinations, i, built) &&
                  ZqCombination::areAlike(built, *manipulator);
      }
      if (isMade)
      {
         *manipulator = std::move(built);
         anyIsMade = true;
      }
      else
         Zq::Print::instance().report(
            Zq::Rejected,
            {Zq::Severity::Warning,
             "combination-unknown",
             {},
             0,
             "manipulator '" + Zq::oneLine(label) + "'",
             "is not what its parts make; it cannot be taken apart"},
            "ZqStatedSystem::read(): manipulator \"" + label +
               "\" is not what its parts make; it cannot be taken apart.\n");
   }
   if (anyIsMade)
      m_systemContainer.element()->mapManipulators();
}
