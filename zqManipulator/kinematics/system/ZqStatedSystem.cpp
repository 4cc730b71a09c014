#include "zqManipulator/kinematics/system/ZqStatedSystem.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>
#include <exception>
#include <utility>

template class ZqXmlClass<ZqStatedSystem>;

ZqStatedSystem::ZqStatedSystem()
{
   attachConfiguration();
}

ZqStatedSystem::ZqStatedSystem(const ZqStatedSystem& other, ZqFoundCommon::DeepCopyFlag flag)
   : ZqXmlClass(other), m_systemContainer(other.m_systemContainer), m_state(other.m_state),
     m_configuration(other.m_configuration), m_modifiedShapeKeyVec(other.m_modifiedShapeKeyVec),
     m_systemModified(other.m_systemModified),
     m_selectedShapeKeyVector(other.m_selectedShapeKeyVector),
     m_transparencyAlpha(other.m_transparencyAlpha),
     m_selectionDataChanged(other.m_selectionDataChanged),
     m_transparentDisplay(other.m_transparentDisplay), m_variationOrigin(other.m_variationOrigin)
{
   attachConfiguration();
   ZqStatedSystem::makeDeepCopy(flag);
   m_interactionState = other.m_interactionState;
   m_combinations = other.m_combinations;
   m_beforeCombining = other.m_beforeCombining;
}

ZqStatedSystem& ZqStatedSystem::operator=(const ZqStatedSystem& other)
{
   if (this == &other)
      return *this;
   ZqXmlClass::operator=(other);
   m_systemContainer = other.m_systemContainer;
   m_state = other.m_state;
   m_configuration = other.m_configuration;
   m_modifiedShapeKeyVec = other.m_modifiedShapeKeyVec;
   m_systemModified = other.m_systemModified;
   m_selectedShapeKeyVector = other.m_selectedShapeKeyVector;
   m_transparencyAlpha = other.m_transparencyAlpha;
   m_selectionDataChanged = other.m_selectionDataChanged;
   m_transparentDisplay = other.m_transparentDisplay;
   m_interactionState = other.m_interactionState;
   m_variationOrigin = other.m_variationOrigin;
   m_combinations = other.m_combinations;
   m_beforeCombining = other.m_beforeCombining;
   m_activeState.reset();
   m_reportActiveState.reset();
   m_propagationResults.clear();
   attachConfiguration();
   return *this;
}

ZqStatedSystem::~ZqStatedSystem() = default;

const ZqStatedSystem& ZqStatedSystem::nullObject()
{
   // Never destroyed, so that it serves the destructors of static objects as well.
   static const auto& object = *new ZqStatedSystem();
   return object;
}

bool ZqStatedSystem::operator==(const ZqStatedSystem& other) const
{
   return m_systemContainer == other.m_systemContainer && m_state == other.m_state &&
          m_configuration == other.m_configuration &&
          m_modifiedShapeKeyVec == other.m_modifiedShapeKeyVec &&
          m_selectedShapeKeyVector == other.m_selectedShapeKeyVector &&
          m_transparencyAlpha == other.m_transparencyAlpha &&
          m_selectionDataChanged == other.m_selectionDataChanged &&
          m_transparentDisplay == other.m_transparentDisplay &&
          m_interactionState == other.m_interactionState &&
          m_variationOrigin == other.m_variationOrigin && m_combinations == other.m_combinations;
}

// Documents

void ZqStatedSystem::registerComponents()
{
   ZqXmlClass::registerComponents();
   if (!m_legacySystem)
      m_legacySystem.reset(new ZqManipulatorSystem());
   registerComponentReadOnly(ZqManip::ZqSystemToken, m_legacySystem.get());
}

bool ZqStatedSystem::read(ZqXmlReader& reader)
{
   aboutToModifySystem();
   // The system is about to be replaced.
   m_configuration.setManipulatorSystem(nullptr);
   m_propagationResults.clear();
   m_variationOrigin = {}; // which is written only where there is one
   const bool isRead = ZqXmlClass::read(reader);
   takeLegacySystem();
   takeCombinations();
   const bool isStateOfSystem = validateTopLevelDimensions();
   if (!validateLowLevelDimensions() || !isStateOfSystem)
      forgetInteractions();
   ZqManipulatorAttachmentMap& attachments = m_configuration.attachmentMap();
   const ZqOldManipulatorAttachmentMap& oldAttachments = system().manipulatorAttachmentMap();
   if (attachments.baseNodes().size() == 0 && oldAttachments.size() != 0)
   {
      attachments.convertFromOldFormat(oldAttachments);
      reportOldAttachments();
   }
   for (const ZqU32 index : attachments.removeManipulatorsFrom(numberOfManipulators()))
   {
      const ZqString what = "there is no manipulator " + std::to_string(index) + " to attach";
      Zq::Print::instance().report(
         Zq::Rejected,
         {Zq::Severity::Warning, "attachment-repaired", {}, 0, {}, what + "; it is left out"},
         "ZqStatedSystem::read(): " + what + ".\n");
   }
   attachConfiguration();
   return isRead;
}

/// Reports entries that could not become attachments, and those that name a link that does not exist.
void ZqStatedSystem::reportOldAttachments() const
{
   ZqU32 base = 0;
   ZqString label;
   ZqCoordinateSystemTransformation offset;
   for (const auto& [index, place] : system().manipulatorAttachmentMap().mapContainer())
   {
      const ZqManipulatorLinkIdentifier& carrier = place.first();
      const ZqIndividualManipulator* manipulator = manipulatorByIndex(carrier.manipulatorId());
      const ZqString attached = "manipulator " + std::to_string(index);
      const ZqString carrying = "manipulator " + std::to_string(carrier.manipulatorId());
      ZqString what;
      if (!m_configuration.attachmentMap().getDependentManipulatorInfo(index, base, label, offset))
         what = attached + " cannot be attached to " + carrying;
      else if (manipulator != nullptr && manipulator->linkByIdentifier(carrier.linkId()) == nullptr)
         what =
            carrying + " has no link \"" + carrier.linkId() + "\" to attach " + attached + " to";
      if (!what.empty())
         Zq::Print::instance().report(
            Zq::Rejected,
            {Zq::Severity::Warning, "attachment-repaired", {}, 0, {}, Zq::oneLine(what)},
            "ZqStatedSystem::read(): " + what + ".\n");
   }
}

/// Takes over the system of an old document, which stands in an element of its own.
void ZqStatedSystem::takeLegacySystem()
{
   if (!m_legacySystem)
      return;
   if (numberOfManipulators() == 0 && !m_legacySystem->equalsDefault())
      m_systemContainer.setElement(*m_legacySystem);
   // Nothing of it is left for the next document.
   *m_legacySystem = ZqManipulatorSystem();
}

bool ZqStatedSystem::validateTopLevelDimensions()
{
   auto& positions = m_state.positionStates();
   auto& velocities = m_state.velocityStates();
   const ZqU32 count = numberOfManipulators();
   if (positions.size() == count)
      return true;
   // A scene without a state begins in a new one.
   const Zq::Severity severity = positions.size() == 0 ? Zq::Severity::Note : Zq::Severity::Warning;
   Zq::Print::instance().report(
      Zq::Rejected,
      {severity,
       "state-size",
       {},
       0,
       {},
       std::to_string(positions.size()) + " states for " + std::to_string(count) +
          " manipulators: made as many"},
      "ZqStatedSystem::validateTopLevelDimensions(): number of states does not "
      "equal the number of systems in the input file--correcting.\n");
   velocities.resize(std::min(count, positions.size()));
   velocities.resize(count);
   positions.resize(count);
   return false;
}

bool ZqStatedSystem::validateLowLevelDimensions()
{
   struct Kind
   {
      const char* name;
      ZqReal padding;
      const char* message;
   };
   static constexpr Kind jointPositions{
      "joint positions", 1e-9,
      "ZqStatedSystem::validateLowLevelDimensions: joint positions do not match the numbers of "
      "degrees of freedom--correcting.\n"};
   static constexpr Kind jointVelocities{
      "joint velocities", 0.0,
      "ZqStatedSystem::validateLowLevelDimensions: joint velocities do not match the numbers of "
      "degrees of freedom--correcting.\n"};
   const auto fit =
      [](std::vector<ZqReal>& values, const ZqIndividualManipulator& manipulator, const Kind& kind)
   {
      const ZqU32 count = manipulator.jointDof();
      if (values.size() == count)
         return true;
      const Zq::Severity severity = values.empty() ? Zq::Severity::Note : Zq::Severity::Warning;
      Zq::Print::instance().report(Zq::Rejected,
                                   {severity,
                                    "state-size",
                                    {},
                                    0,
                                    "manipulator '" + manipulator.manipulatorLabel() + "'",
                                    std::to_string(values.size()) + ' ' + kind.name + " for " +
                                       std::to_string(count) + " joints: made as many"},
                                   kind.message);
      values.resize(count, kind.padding);
      return false;
   };
   auto& positions = m_state.positionStates();
   auto& velocities = m_state.velocityStates();
   // A velocity state that is missing is one without joints.
   velocities.resize(positions.size());
   const ZqU32 count = std::min(numberOfManipulators(), positions.size());
   bool areValid = true;
   for (ZqU32 i = 0; i < count; ++i)
   {
      const ZqIndividualManipulator& manipulator = system().manipulators()[i];
      const bool positionsFit =
         fit(positions[i].jointPositions().values(), manipulator, jointPositions);
      const bool velocitiesFit =
         fit(velocities[i].jointVelocities().values(), manipulator, jointVelocities);
      areValid = areValid && positionsFit && velocitiesFit;
   }
   return areValid;
}

/// The positions of references carry where these are placed.
void ZqStatedSystem::placeReferences()
{
   const auto& manipulators = system().manipulators();
   auto& positions = m_state.positionStates();
   for (ZqU32 i = 0; i < std::min(manipulators.size(), positions.size()); ++i)
   {
      const ZqIndividualManipulator& manipulator = manipulators[i];
      const bool isReference = &manipulator.concreteReference() != &manipulator;
      positions[i].setPlacement(isReference ? &manipulator.coordSysXForm() : nullptr);
   }
}

// Sharing of the system

void ZqStatedSystem::aboutToModifySystem()
{
   m_systemContainer.makeSelfUnique();
   attachConfiguration();
   systemChanges();
}

ZqManipulatorSystem& ZqStatedSystem::systemToModify()
{
   aboutToModifySystem();
   return *m_systemContainer.element();
}

void ZqStatedSystem::makeDeepCopy(ZqFoundCommon::DeepCopyFlag flag)
{
   if (flag == ZqFoundCommon::ShareWhatMayBeShared)
      return;
   // The model stays as it is, only in another place.
   ZqInteractionState interactionState = std::move(m_interactionState);
   ZqCombination::Combinations combinations = std::move(m_combinations);
   aboutToModifySystem();
   if (flag == ZqFoundCommon::CopyAll)
      m_systemContainer.element()->unreferenceShapes();
   m_interactionState = std::move(interactionState);
   m_combinations = std::move(combinations);
}

// Whole systems

void ZqStatedSystem::setSystem(const ZqManipulatorSystem& system)
{
   m_systemContainer.setElement(system);
   m_propagationResults.clear();
   attachConfiguration();
   systemChanges();
}

void ZqStatedSystem::setAndDeleteSystemPointer(ZqManipulatorSystem* system)
{
   // The exclusions of the configuration stay compiled as they are.
   m_configuration.setManipulatorSystem(nullptr);
   m_systemContainer.setAndDeleteElementPointer(system);
   m_propagationResults.clear();
   systemChanges();
}

void ZqStatedSystem::setFromSystem(const ZqManipulatorSystem& system)
{
   setSystem(system);
   addCompatibleState();
}

void ZqStatedSystem::setFromManipulator(const ZqIndividualManipulator& manipulator)
{
   systemToModify().setFromIndividualManipulator(manipulator);
   m_propagationResults.clear();
   addCompatibleState();
}

ZqIndividualManipulator& ZqStatedSystem::clearAndInitializeForOneManipulator()
{
   setFromManipulator(ZqIndividualManipulator());
   return m_systemContainer.element()->m_manipulators[0];
}

void ZqStatedSystem::finalizeOneManipulator()
{
   addCompatibleState();
}

bool ZqStatedSystem::mergeWith(const ZqStatedSystem& other)
{
   const ZqU32 count = numberOfManipulators();
   ZqManipulatorSystemConfiguration configuration = other.m_configuration;
   const bool systemMerged = systemToModify().mergeWith(other.system());
   const bool stateMerged = m_state.mergeWith(other.m_state);
   configuration.shiftManipulatorIndices(count);
   m_configuration.mergeWith(configuration);
   attachConfiguration();
   return systemMerged && stateMerged;
}

// Manipulators that come and go

void ZqStatedSystem::addManipulator(const ZqIndividualManipulator& manipulator)
{
   ZqManipulatorSystem& system = systemToModify();
   system.addManipulator(manipulator);
   system.rightSizeState(m_state);
   resetReportActiveState();
   attachConfiguration();
}

void ZqStatedSystem::addManipulator(const ZqIndividualManipulator& manipulator,
                                    const ZqPositionState& position,
                                    const ZqVelocityState& velocity)
{
   // Copies, since they may stand in the state that is about to grow.
   ZqPositionState newPosition = position;
   ZqVelocityState newVelocity = velocity;
   ZqManipulatorSystem& system = systemToModify();
   const ZqU32 index = system.numberOfManipulators();
   system.addManipulator(manipulator);
   m_state.positionStates().resize(index + 1);
   m_state.velocityStates().resize(index + 1);
   m_state.positionStates()[index] = std::move(newPosition);
   m_state.velocityStates()[index] = std::move(newVelocity);
   system.rightSizeState(m_state);
   resetReportActiveState();
   attachConfiguration();
}

bool ZqStatedSystem::exchangeManipulator(ZqU32 index, const ZqIndividualManipulator& manipulator,
                                         const ZqPositionState& position,
                                         const ZqVelocityState& velocity)
{
   if (index >= m_state.positionStates().size())
      return false;
   ZqManipulatorSystem& system = systemToModify();
   if (!system.exchangeManipulator(index, manipulator))
      return false;
   if (index < m_propagationResults.size())
      m_propagationResults[index] = ZqPropagationResultData();
   ZqVelocityState newVelocity = velocity;
   m_state.velocityStates().resizeToAtLeast(index + 1);
   m_state.positionStates()[index] = position;
   m_state.velocityStates()[index] = std::move(newVelocity);
   system.rightSizeState(m_state);
   resetReportActiveState();
   attachConfiguration();
   return true;
}

bool ZqStatedSystem::deleteManipulator(ZqU32 index)
{
   if (index >= numberOfManipulators() || !systemToModify().deleteManipulator(index))
      return false;
   deleteState(index);
   m_configuration.deleteManipulatorAndShift(index);
   attachConfiguration();
   return true;
}

int ZqStatedSystem::deleteManipulator(const ZqString& label)
{
   const int index = systemToModify().deleteManipulator(label);
   if (index < 0)
      return index;
   deleteState(static_cast<ZqU32>(index));
   attachConfiguration();
   return index;
}

void ZqStatedSystem::deleteState(ZqU32 index)
{
   if (index < m_state.positionStates().size())
      m_state.positionStates().erase(index);
   if (index < m_state.velocityStates().size())
      m_state.velocityStates().erase(index);
   if (index < m_propagationResults.size())
      m_propagationResults.erase(index);
   system().rightSizeState(m_state);
   resetReportActiveState();
}

bool ZqStatedSystem::removeManipulator(ZqU32 index)
{
   if (index >= numberOfManipulators() || !systemToModify().separate(index) ||
       !systemToModify().deleteManipulator(index))
      return false;
   deleteState(index);
   ZqModelEdit edit;
   edit.setManipulators(ZqRenumbering::removed(index, 1));
   m_configuration.apply(edit);
   attachConfiguration();
   return true;
}

bool ZqStatedSystem::editManipulator(ZqU32 index,
                                     const std::function<void(ZqIndividualManipulator&)>& change)
{
   return this->change(index, change).has_value();
}

bool ZqStatedSystem::restateManipulator(ZqU32 index,
                                        const std::function<void(ZqIndividualManipulator&)>& change)
{
   ZqInteractionState remembered = m_interactionState;
   ZqLinkInteractionsVector interactions = system().linkInteractionsVector();
   ZqInteractionState::Memories memories = remembered.memories();
   const ZqU32 count = std::min(memories.size(), interactions.size());
   for (ZqU32 i = 0; i < count; ++i)
      if (interactions.vectorContainer()[i] != nullptr)
         interactions.vectorContainer()[i]->setMemory(memories[i]);
   const std::optional<ZqModelEdit> edit = this->change(index, change);
   if (!edit)
      return false;
   if (edit->links(index).hasIndices())
      return true;
   interactions.apply(*edit);
   for (ZqU32 i = 0; i < std::min(count, interactions.size()); ++i)
      if (interactions.vectorContainer()[i] != nullptr)
         memories[i] = interactions.vectorContainer()[i]->memory();
   remembered.setMemories(memories);
   remembered.restate(*edit,
                      [this](const ZqManipulatorLinkIndex& place)
                      {
                         ZqManipulatorActivePositionState state;
                         state.setPositionState(m_state.positionStates()[place.manipulatorIndex]);
                         return manipulatorByIndex(place.manipulatorIndex)
                            ->linkByIndex(place.linkIndex)
                            ->primaryFrameInSystem(state)
                            .orientation();
                      });
   m_interactionState = std::move(remembered);
   return true;
}

/// The record of what moved; none for an index that does not exist.
std::optional<ZqModelEdit>
ZqStatedSystem::change(ZqU32 index, const std::function<void(ZqIndividualManipulator&)>& change)
{
   std::exception_ptr thrown;
   std::optional<ZqModelEdit> edit =
      systemToModify().editManipulator(index,
                                       [&](ZqIndividualManipulator& manipulator)
                                       {
                                          try
                                          {
                                             change(manipulator);
                                          }
                                          catch (...)
                                          {
                                             thrown = std::current_exception();
                                          }
                                       });
   if (!edit)
      return edit;
   m_state.apply(*edit);
   fitJoints(index);
   m_configuration.apply(*edit);
   attachConfiguration();
   if (index < m_propagationResults.size())
      m_propagationResults[index] = ZqPropagationResultData();
   // Frames and inertias may differ at an equal state.
   m_activeState.reset();
   resetReportActiveState();
   if (thrown)
      std::rethrow_exception(thrown);
   return edit;
}

/// Gives the state of a manipulator, if there is one, the joints that came behind those it has.
void ZqStatedSystem::fitJoints(ZqU32 index)
{
   const ZqU32 dof = system().jointDof(index);
   if (index < m_state.positionStates().size())
      m_state.positionStates()[index].jointPositions().values().resize(dof, 1e-9);
   if (index < m_state.velocityStates().size())
      m_state.velocityStates()[index].jointVelocities().values().resize(dof, 0.0);
}

bool ZqStatedSystem::changeLinkLabel(ZqU32 index, const ZqString& oldLabel,
                                     const ZqString& newLabel)
{
   const ZqIndividualManipulator* manipulator = manipulatorByIndex(index);
   return manipulator != nullptr && manipulator->linkByIdentifier(oldLabel) != nullptr &&
          manipulator->linkByIdentifier(newLabel) == nullptr &&
          editManipulator(index, [&](ZqIndividualManipulator& changed)
                          { changed.changeLinkLabel(oldLabel, newLabel); });
}

/// Drops what was kept for reports: it belongs to the structure that the system had before.
void ZqStatedSystem::resetReportActiveState()
{
   if (m_reportActiveState == nullptr)
      return;
   m_reportActiveState->resetForSystemChange();
   m_reportActiveState->setNonredundantState(m_state);
}

bool ZqStatedSystem::changeManipulatorLabel(const ZqString& oldLabel, const ZqString& newLabel)
{
   return systemToModify().changeManipulatorLabel(oldLabel, newLabel);
}

// Queries and changes of manipulators

const ZqIndividualManipulator* ZqStatedSystem::manipulatorByIdentifier(const ZqString& label) const
{
   return system().manipulatorByIdentifier(label);
}

const ZqIndividualManipulator* ZqStatedSystem::manipulatorByIndex(ZqU32 index) const
{
   return index < numberOfManipulators() ? &system().manipulators()[index] : nullptr;
}

ZqU32 ZqStatedSystem::numberOfManipulators() const
{
   return system().numberOfManipulators();
}

bool ZqStatedSystem::lookupManipulatorIndexFromLabel(const ZqString& label, ZqU32& index) const
{
   const auto& manipulators = system().manipulators();
   const auto found = std::find_if(manipulators.begin(), manipulators.end(),
                                   [&](const ZqIndividualManipulator& manipulator)
                                   { return manipulator.manipulatorLabel() == label; });
   if (found == manipulators.end())
      return false;
   index = static_cast<ZqU32>(found - manipulators.begin());
   return true;
}

ZqU32 ZqStatedSystem::jointDof(ZqU32 index) const
{
   return system().jointDof(index);
}

const ZqSystemEnvironment& ZqStatedSystem::environment() const
{
   return system().environment();
}

void ZqStatedSystem::setEnvironment(const ZqSystemEnvironment& environment)
{
   systemToModify().setEnvironment(environment);
}

bool ZqStatedSystem::findAndConvertToReferences()
{
   const bool isConverted = systemToModify().findAndConvertToReferences();
   placeReferences();
   return isConverted;
}

bool ZqStatedSystem::setJointLimit(ZqU32 index, const ZqString& linkLabel, bool upper, ZqReal value)
{
   return systemToModify().setJointLimit(index, linkLabel, upper, value);
}

bool ZqStatedSystem::replaceLinkProperties(ZqU32 index, const ZqString& linkLabel,
                                           const ZqManipulatorLink& properties, bool withShapes)
{
   return systemToModify().replaceLinkProperties(index, linkLabel, properties, withShapes);
}

bool ZqStatedSystem::replaceLinkKinematics(ZqU32 index, const ZqString& linkLabel,
                                           const ZqLinkKinematics& joint)
{
   return systemToModify().replaceLinkKinematics(index, linkLabel, joint);
}

bool ZqStatedSystem::setSelfCollisionMap(const ZqManipulatorSelfCollisionLinkMap& map, ZqU32 index)
{
   return systemToModify().setSelfCollisionMap(map, index);
}

bool ZqStatedSystem::setNamedFrames(ZqU32 manipulator, ZqU32 link,
                                    const ZqManipulatorLink::NamedFrames& frames)
{
   return systemToModify().setNamedFrames(manipulator, link, frames);
}
