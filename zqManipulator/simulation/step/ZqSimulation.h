#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/interactions/ZqLinkInteractionsVector.h"
#include "zqManipulator/simulation/step/ZqEnergyBook.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

class ZqInteractionState;
class ZqShapeCollisionData;
class ZqShapeKey;
class ZqSimulationCheckpoint;
struct ZqContactMemory;

/// The state of a scene on its way through time: one call, one step.
///
///     ZqSimulation simulation(scene);
///     for (int k = 1; k <= 1000 && simulation.stepTo(0.001 * k); ++k)
///        use(simulation.state());
///
/// What drives it, commands, torques and external forces, is set between steps and holds until it is set
/// anew.
///
/// In a step,
/// - the states of the power converters advance by their derivatives at the present motor position and
///   velocity, linearly implicit: a circuit faster than the step does not diverge. Their torques hold
///   for the step;
/// - the solver answers the accelerations of the present state, with gravity as an acceleration of the
///   bases, the motors of rigid joints following their joints, the torques of power converters and those
///   that are given at the motors, the external forces, and what the links do to each other: interactions
///   of the scene, contact among them, computed for the same state;
/// - the integrator moves joints, bases and the motors of flexible joints;
/// - state equality constraints, by their `kinematics`, have been part of the accelerations; what the
///   step leaves of a gap is closed, and velocities are brought to agree, by the least change in the
///   metric of the mass matrix (`ZqConstraintProjection`), also where that goes beyond a limit. A loop
///   that is open at the start is closed there, with a message. One that has never been closed keeps
///   its gap, with another message; one that was closed is tried again after each step;
/// - manipulators that are attached go where their carriers have come to, and move as these do; and
/// - the stopping criteria look at the state that the step has led to. A manipulator that meets one
///   goes back to where the step began, and keeps its velocity.
///
/// A joint that the step would take beyond a limit is brought to rest in it, and the others accelerate
/// as they do beside a joint at rest: an inelastic stop. So is a limit that depends on several joints, a
/// function g of their positions that a link holds: the step ends with no speed beyond it, by the least
/// change in the metric of the mass matrix, so that motions along the limit go on. All that stop at once push
/// and do not pull. A limit is looked at where the step would end, with its gradient there. Where a highest
/// rate is met in such a step, what keeps to it pushes as well.
///
/// Manipulators that are attached to each other are solved as one tree, in which the base of one is a part of the
/// link that carries it; states, inputs and answers are those of each manipulator all the same. The base of
/// what is attached goes where its carrier goes, whether or not it is fixed. Without
/// `Settings::couplesAttachments` what is attached loads its carrier with the mass of its base; the motion of its
/// links does not act back, and it does not feel the acceleration of its carrier. What interactions do to its
/// links moves these, and as a whole acts on the carrier too: a gripper that hangs on an arm presses with it.
///
/// Interactions remember things, as where a contact sticks. Only the evaluation with which a step begins
/// changes that: what an integrator tries on its way, and who looks at the present, leave no trace.
/// It is part of the scene that is handed out: a simulation that begins with that goes on with it.
///
/// A step allocates nothing once sizes have settled, and nothing throws. A simulation shares the model
/// with the scene that it was made from until one of them changes it; each of those that share one may be
/// used by another thread.
class ZqSimulation
{
public:
   enum class Solver
   {
      Crbi, ///< `ZqCrbiAccelerationTool`, which heeds constraints
      Arbi  ///< `ZqArbiAccelerationTool`, for long chains; constraints are ignored, with a message
   };

   /// By which rule a step leads on from the accelerations. All treat limits, drives and constraints as
   /// told above; the two smooth ones leave a step in which a joint comes to a limit or to its highest
   /// rate, or whose equations they cannot solve, to `SemiImplicitEuler`, and count it.
   enum class Integrator
   {
      /// v += dt a, and then x += dt v, as `ZqStatedSystem::propagateTo`: of first order. A body that
      /// tumbles freely gains energy. One evaluation of the accelerations.
      SemiImplicitEuler,
      /// v += dt a and x += dt v, both at the middle of the step, for the turn of a base in the axes of
      /// the body and by the Cayley map: of second order, and the same backwards in time. A free body
      /// keeps energy and momentum to rounding, however long it tumbles; a free manipulator without
      /// constraints keeps its momentum to rounding, with all that hangs on it, and its energy does not drift.
      /// Five to fifteen evaluations.
      ImplicitMidpoint,
      /// The classical method of Runge and Kutta, on the rotations of a base as a Lie group (Munthe-Kaas
      /// 1998): of fourth order while forces are smooth. Four evaluations.
      RungeKutta
   };

   struct Settings
   {
      Solver solver = Solver::Crbi;
      Integrator integrator = Integrator::SemiImplicitEuler;
      /// Whether the loops of constraints are closed at the start and after each step, and velocities
      /// brought to agree with constraints.
      bool closesLoops = true;
      /// Whether what acts between links, contact among it, is computed.
      bool interacts = true;
      /// Whether contact is part of that; without it links pass through each other, and what contacts remembered
      /// is gone.
      bool computesContact = true;
      /// Whether `energyBook` is kept. Steps are the same with it, and take longer.
      bool booksEnergy = false;
      /// Whether what is attached acts back: a manipulator and all that hangs on it are solved as one tree. Without
      /// it what is attached loads its carrier with the mass of its base alone, and does not feel the
      /// acceleration of its carrier.
      bool couplesAttachments = true;
   };

   /// In J: of the motion of bodies and motors, and of the bodies in gravity, zero at the origin of the
   /// system.
   struct Energy
   {
      ZqReal total() const { return kinetic + potential; }

      ZqReal kinetic = 0.0;
      ZqReal potential = 0.0;
   };

   struct Place
   {
      ZqU32 manipulator;
      ZqU32 link; ///< or `ZqBaseLinkIndex`
   };
   struct LimitHit
   {
      Place place;
      ZqReal time; ///< s
   };
   struct FiredCriterion
   {
      ZqU32 manipulator;
      ZqString description;
      ZqReal time; ///< s
   };
   /// By how much a constraint was open.
   struct LoopGap
   {
      ZqU32 manipulator;
      ZqU32 constraint; ///< or `ZqNoLinkIndex`, when none has a gap that can be measured
      ZqReal size;      ///< m
      ZqReal time;      ///< s
   };
   enum class ContactMode
   {
      Frictionless,
      Sticks,
      Slips
   };
   /// Two shapes that touch, in the order of their keys in the record.
   struct Contact
   {
      Place first, second;
      ZqU32 shape1, shape2; ///< their numbers
      int points;           ///< that overlap
      ZqReal depth;         ///< m
      ZqReal normalForce;   ///< its size (N)
      ZqReal frictionForce; ///< likewise
      ContactMode mode;
      const ZqShapeCollisionData*
         record; ///< with the geometry, the forces and the memory; never null
   };
   struct DeepestContact
   {
      Place first, second;
      ZqReal depth; ///< m
      ZqReal time;  ///< s
   };
   struct Divergence
   {
      Place place;
      ZqReal time; ///< s
      const char*
         quantity; ///< that is not finite; "contact" where the step is far too long for one
      /// Of those that touched where the step began: what is often to blame. With the quantity "contact" the
      /// one that it is.
      std::optional<DeepestContact> deepestContact = {};
      /// With the quantity "contact", the longest step (s) that this one contact would have taken, by
      /// `contactStepLimit`.
      ZqReal contactStepLimit = 0.0;
   };

   /// Begins at the state of the scene, with attached manipulators where they are carried, bases that are
   /// fixed at rest, and loops closed. Contacts and interactions remember what the scene's `interactionState`
   /// tells; one that does not fit the model is dropped, with a message. Nothing drives it yet. The scene is
   /// copied, of which its model is no part: what happens to it later does not matter here.
   explicit ZqSimulation(const ZqStatedSystem& scene) : ZqSimulation(scene, Settings()) {}
   ZqSimulation(const ZqStatedSystem& scene, const Settings& settings);
   ZqSimulation(const ZqSimulation&) = delete;
   ZqSimulation& operator=(const ZqSimulation&) = delete;
   ~ZqSimulation();

   /// \name To go on later
   /// @{
   /// All that the next step depends on, and what has been told so far, but for a divergence: where that came, it is
   /// the last state before. Nothing of the simulation changes by it.
   ZqSimulationCheckpoint checkpoint() const;
   /// A simulation that goes on from there, to the same bits as if it had never ended. Null, with a message, for a
   /// checkpoint of a later version, and for one with a part that is missing, not finite or of another model.
   static std::unique_ptr<ZqSimulation> resume(const ZqSimulationCheckpoint& checkpoint);
   /// @}

   const Settings& settings() const { return m_settings; }
   const ZqManipulatorSystem& system() const { return m_scene.system(); }
   /// The scene as it is now, with what contacts and interactions remember, to be saved or to be simulated
   /// further. A simulation that is made from it and driven alike goes on as this one does, to the same bits.
   /// Motors, power converters and the closing of loops begin anew.
   ZqStatedSystem scene() const;
   /// The link at a place, or the base; null when there is none.
   const ZqManipulatorLink* linkAt(const Place& place) const;

   const ZqManipulatorSystemState& state() const { return m_state; }
   /// Steps to a later time (s); one that is not later and finite is rejected with a message. False
   /// then, and when something is not finite: the state and the drives stay, while contacts and interactions may
   /// remember the evaluation with which the step began.
   bool stepTo(ZqReal time);
   /// Steps by a length of time (s). The sum of many is not quite a multiple of it: times of a grid come
   /// from `stepTo`.
   bool step(ZqReal dt) { return stepTo(m_state.time() + dt); }

   /// \name What drives it
   /// Commands go to power converters (a voltage, a valve opening, a torque), torques act at motors, beside
   /// those of the power converters (N m, or N). Lists stand in the order of manipulators and link indices,
   /// and what is missing in them is 0. External forces are those on a link, in its D-H frame. What is
   /// not finite, too long or of a place that there is not is rejected with a message, and changes
   /// nothing: false.
   /// @{
   bool setCommands(const std::vector<ZqReal>& commands);
   bool setTorques(const std::vector<ZqReal>& torques);
   bool setCommand(const Place& joint, ZqReal command);
   bool setTorque(const Place& joint, ZqReal torque);
   /// On the base and all links of a manipulator; those that are missing are 0.
   bool setExternalForces(ZqU32 manipulator, const ZqManipulatorExternalForce& forces);
   bool setExternalForce(const Place& place, const ZqGeneralForce& force);
   /// Zero for a place that there is not.
   ZqReal command(const Place& joint) const;
   ZqReal torque(const Place& joint) const;
   ZqGeneralForce externalForce(const Place& place) const;
   /// @}

   /// \name What hangs on what
   /// Changes between steps. `scene` and `checkpoint` have them.
   /// @{
   const ZqManipulatorAttachmentMap& attachments() const;
   /// Attaches a manipulator, with all that hangs on it, to a link of another one, or moves it there: as it
   /// stands now, or with an offset in the primary frame of the link. Where it moves otherwise than the link, both
   /// come to move as one at once, by an impulse between them that keeps their momentum; `energyBook` has what
   /// that costs with the limits. Without `Settings::couplesAttachments` it takes on the motion of the link,
   /// which goes on as it was. The name is that of a new attachment; what only moves on its carrier keeps its own.
   /// False, with a message and no change, for a place that there is not, an offset that is not finite or does not
   /// have an orientation of length 1, to 1e-6, or with which the motion would not be finite, a link of which another
   /// one has the label, where it hangs already, and on what it carries.
   bool attach(ZqU32 manipulator, const Place& carrier,
               const std::optional<ZqCoordinateSystemTransformation>& offset = {},
               const ZqString& name = {});
   /// Releases a manipulator, which goes on as it moves with all that hangs on it. A fixed base stops where it
   /// is: if attachments are coupled, by an impulse on it that its joints feel and that `energyBook` has with the
   /// limits. False, with a message, when it is not attached.
   bool detach(ZqU32 manipulator);
   /// @}

   /// \name What follows from the present state
   /// And from what drives it now. Computed when first asked for after a change, at the price of one
   /// evaluation of the accelerations; the steps do not depend on whether it is asked for.
   /// @{
   /// To be read: frames and velocities of links from it, and in it the accelerations of joints and bases
   /// (of the base in axes of the system, gravity not counted) and the states of the drives, with the
   /// torques that these put on the joints. A joint that rests in a limit accelerates here as if it were
   /// free: the reactions of stops belong to steps. Forces of interactions stand in `generalForceVector()`;
   /// descriptions of external forces are cleared with the accelerations.
   ZqSystemActiveState& present();
   /// At the motors: of power converters and given ones (N m, or N). No joints for a manipulator that there
   /// is not.
   const ZqManipulatorTorque& motorTorques(ZqU32 manipulator);
   /// One row for each row of the constraints of a manipulator (doc x 1): G^T times them, with G the
   /// Jacobian, acts on the manipulator. In N where the row is a length. Of those that do the same the
   /// shortest. No rows where constraints are not heeded.
   const ZqReArray& constraintForces(ZqU32 manipulator);
   /// What touches and may move, in the order of links: a floor and a wall are no contact. The list and its records
   /// hold until something changes, by a step, an input or `setInteractionState`.
   const std::vector<Contact>& contacts();
   /// The longest step (s) for which the contacts of the present are stable, by the stiffness and the damping
   /// that their laws tell; infinite without any. With w2 the sum over the contacts of a body of
   /// 4 k (1/m1 + 1/m2), and T the mean of their damping times, weighted by these terms, it is
   /// sqrt(T^2 + 4 / w2) - T, the least over all bodies. It is a bound for small motions about rest: near it, a
   /// weight that is put on at once may rock a body that should slide, and 0.65 of it is safe. How deep bodies
   /// get in an impact needs a quarter of it, to 1 %.
   ZqReal contactStepLimit();
   /// @}
   /// Of the present state. One that is not finite is a divergence.
   Energy energy();
   /// Where the energy is, and where it came from and went since the simulation was made. Without
   /// `Settings::booksEnergy` nothing is known but what is held, from the start on too. With springs and contacts it
   /// takes an evaluation of the present.
   ZqEnergyBook energyBook();

   /// The joints that were at a limit, each with the first time.
   const std::vector<LimitHit>& limitHits() const { return m_limitHits; }
   /// The manipulators of which stopping criteria were met, each with the first time.
   const std::vector<FiredCriterion>& firedCriteria() const { return m_firedCriteria; }
   const std::optional<Divergence>& divergence() const { return m_divergence; }
   /// The greatest gap at the start and at the end of a step; none without constraints, and with the
   /// solver `Arbi`.
   const std::optional<LoopGap>& greatestGap() const { return m_greatestGap; }
   /// That were done.
   std::uint64_t steps() const { return m_steps; }
   /// The steps that the integrator has left to `SemiImplicitEuler`.
   std::uint64_t substitutedSteps() const { return m_substitutedSteps; }
   /// Of all states that steps began with.
   const std::optional<DeepestContact>& greatestDepth() const { return m_greatestDepth; }
   /// How often a contact that stuck began to slip, in all steps.
   std::uint64_t slips() const { return m_slips; }

   /// \name What interactions remember
   /// As of the evaluation with which the last step began; `scene` has it too. With the scene it is all that steps
   /// depend on, but for drives, inputs and constraints: a simulation that is made from the scene and given this
   /// goes on as this one does, to the same bits.
   /// @{
   /// Empty when nothing is remembered.
   ZqInteractionState interactionState() const;
   /// With an empty one all begin anew. False, with a message and no change, for one of other interactions or
   /// with links or shapes that there are not. What springs across the normals hold changes with it, which stays in
   /// the remainder of `energyBook`.
   bool setInteractionState(const ZqInteractionState& state);
   /// @}

private:
   struct Joint;
   struct Limit;
   struct Stop;
   struct Motion;
   struct Momentum;
   struct RigidBody;
   struct Solvers;
   struct StepBook;
   struct Member;
   struct Tree;
   struct TreeMaker;
   struct Unit;
   class PartConstraint;

   struct Bare
   {
   };

   /// At the state of the scene as it is, without a beginning.
   ZqSimulation(const ZqStatedSystem& scene, const Settings& settings, Bare);
   void begin();
   void takeInteractions();
   Member makeMember(ZqU32 index);
   void takeModel(Member& member) const;
   static void initializeDrives(const Member& member, ZqManipulatorActiveState& active);
   void bind(ZqU32 index);
   void bindAll();
   void listMembers();
   Unit unitOf(ZqU32 index);
   void placeActive(const Unit& unit);
   ZqManipulatorActiveState& activeState(ZqU32 index)
   {
      return m_active.manipulatorActiveStateVector()[index];
   }
   void keepDrives();
   void dropPresent();
   void followCarriers();
   void findBaseMotions();
   bool meetStoppingCriteria();
   void collectResults();

   // Checkpoints
   static ZqString misfitOf(const ZqSimulationCheckpoint& checkpoint);
   const ZqActuatorState& drivesOf(ZqU32 index) const;
   ZqString take(const ZqSimulationCheckpoint& checkpoint);
   ZqString takeDrives(const ZqSimulationCheckpoint& checkpoint);
   ZqString takeInputs(const ZqSimulationCheckpoint& checkpoint);
   ZqString takeCounters(const ZqSimulationCheckpoint& checkpoint);
   ZqString takeEvents(const ZqSimulationCheckpoint& checkpoint);
   ZqString takeGreatest(const ZqSimulationCheckpoint& checkpoint);
   ZqString takeLoops(const ZqSimulationCheckpoint& checkpoint);
   ZqString takeBook(const ZqSimulationCheckpoint& checkpoint);
   ZqString takeMemories(const ZqSimulationCheckpoint& checkpoint);

   // Constraints
   void beginWithClosedLoops();
   void beginWithClosedLoops(const Unit& unit);
   void setProjectedStep(ZqReal dt);
   bool closeAllLoops();
   void closeLoops(const Unit& unit);
   ZqStateEqualityConstraintVector::Gap gapOf(const Unit& unit);
   Place constraintAt(const Unit& unit, ZqU32 constraint) const;
   ZqString descriptionOf(const Place& constraint) const;
   Member& ownerOfLoops(ZqU32 index);
   const Member& ownerOfLoops(ZqU32 index) const;

   // Integrators
   struct Scheme;
   static const Scheme& scheme(Integrator integrator);
   bool advance(ZqReal dt);
   bool stepBySemiImplicitEuler(ZqReal dt);
   bool stepByImplicitMidpoint(ZqReal dt);
   bool stepByRungeKutta(ZqReal dt);
   void readStart(ZqU32 index);
   void readSlopes(ZqU32 index);
   void moveTo(Motion Member::*motion);
   void returnToStart();
   void addStage(Member& member, ZqReal share, ZqReal reach);
   void moveToMiddle(ZqReal dt);
   void moveToEnd(ZqReal dt);
   ZqReal improveEnd(ZqReal dt);
   bool keepsMomentum(ZqU32 index) const;
   Momentum momentum(const Unit& unit);
   void keepMomentum(ZqU32 index, ZqReal dt, bool withPosition);

   // Accelerations
   void computeAccelerations(ZqReal dt);
   void computeTrialAccelerations(ZqReal time);
   void takeState();
   void solveAll();
   void solve(const Unit& unit);
   void findRigidBody(Member& member) const;
   void accelerateRigidBody(ZqU32 index);
   void moveRigidBody(ZqU32 index, ZqReal dt);

   // Attachments
   ZqString labelOf(const Place& place) const;
   ZqString reasonNotToAttach(ZqU32 manipulator, const Place& carrier,
                              const std::optional<ZqCoordinateSystemTransformation>& offset) const;
   bool changeAttachments(const ZqManipulatorAttachmentMap& map, ZqU32 manipulator);
   void takeAttachments(const ZqManipulatorAttachmentMap& map);
   void bookChange(const ZqEnergyBook::Held& heldBefore);
   void meet(ZqU32 manipulator, const ZqGeneralMotion& excess);
   bool isCarriedBy(ZqU32 manipulator, ZqU32 carrier) const;
   ZqReArray impulseOf(const Unit& unit, ZqU32 manipulator, const ZqGeneralMotion& velocity);
   void strike(const Unit& unit, ZqU32 manipulator, const ZqGeneralMotion& excess);
   void makeTrees();
   void gatherState(Tree& tree, ZqPositionState& position, ZqVelocityState& velocity) const;
   void gatherState(Tree& tree);
   void gatherLoads(Tree& tree);
   void scatterState(const Tree& tree);
   void scatterAccelerations(const Tree& tree);
   void scatterDrives(const Tree& tree);
   void accelerateBases(Tree& tree);
   void tellAccelerationsOfBases();
   void takeLoopsOfParts(Tree& tree);
   void leaveLoopsToParts(Tree& tree);
   void solve(Tree& tree);
   void presentTree(Tree& tree);
   void stopAtLimits(Tree& tree, ZqReal dt);
   void bookLimits(Tree& tree, ZqReal dt);

   // Interactions
   struct Carried;
   struct ContactOfStep;
   struct Push;
   void findCarriers();
   void interact(ZqReal time);
   void passForcesToCarriers();
   void beginTrial();
   void endTrial();
   void findSizes(Member& member) const;
   void noteContacts(ZqReal dt);
   void notePush(const ZqShapeCollisionData& record, ZqReal depth, ZqReal dt);
   ZqReal sizeAt(const Place& place) const;
   ZqReal separationSpeed(const Push& push);
   bool isAnyContactLost(ZqReal dt);
   bool areStill(const ZqShapeCollisionData& record) const;
   ZqU32 linkOfTree(const Place& place) const;
   bool isShape(const ZqShapeKey& key) const;
   const char* takeInteractionState(const ZqInteractionState& state);
   static ContactMode modeOf(const ZqContactMemory& memory);
   ZqSystemShapeCollisionCache& collisions() { return m_active.systemShapeCollisionCache(); }

   // Drives
   bool setInputs(ZqReal Joint::*input, const std::vector<ZqReal>& values, const char* name);
   bool setInput(const Place& place, ZqReal Joint::*input, ZqReal value, const char* name);
   ZqReal inputOf(const Place& place, ZqReal Joint::*input) const;
   bool isPlace(const Place& place) const;
   void followJoints(ZqU32 index);
   void advanceConverters(ZqU32 index, ZqReal dt);
   void advanceConverter(const Joint& joint, ZqReal dt, ZqActuatorState& drives);
   void computeMotorTorques(ZqU32 index);
   void computeMotorAccelerations(ZqU32 index);
   void advanceMotors(ZqU32 index, ZqReal dt);

   // Limits
   static void stopAtLimits(const Unit& unit, ZqReal dt);
   void moveWithinLimits(ZqU32 index, ZqReal dt);
   static bool findStops(const Unit& unit, ZqReal dt);
   static void findJointsAtLimits(const Unit& unit, ZqReal dt);
   static void findLimitsOfSeveral(const Unit& unit);
   static void findHighestRates(const Unit& unit);
   static void predict(const Unit& unit, ZqReal dt);
   static std::span<ZqReal> addStop(const Unit& unit, const Stop& stop);
   static void factorStops(const Unit& unit);
   static void solveAtStops(const Unit& unit, ZqReal dt);
   bool isBeyondALimit(ZqU32 index);
   void noteLimit(ZqU32 manipulator, ZqU32 joint);

   // Divergence
   std::optional<Place> firstNotFinite(ZqU32 index, ZqReal dt);
   void diverge(const Place& place, const char* quantity);
   bool isStateFinite();
   bool isStateFarFromOverflow();
   Place fastest(const Place& otherwise) const;

   // Energies
   Energy energyOfBody(ZqU32 index, const ZqManipulatorLink& link);
   Energy energyOfMotor(ZqU32 index, ZqU32 jointIndex);
   static ZqReal kineticEnergyAt(const Unit& unit, const ZqVelocityState& velocity);

   // Books
   void prepareBooks();
   void beginBook();
   void bookInteractionsOfStep();
   void openStepBooks();
   bool hasEntries(ZqU32 index) const;
   bool needsMotion(ZqU32 index) const;
   void openStepBook(ZqU32 index);
   void openBookOfCarried(ZqU32 index);
   ZqReal heldByFollowing(ZqU32 index);
   static void bookLimits(const Unit& unit, const ZqVelocityState& before,
                          const ZqVelocityState& after, ZqReal dt);
   void noteReturn(ZqU32 index);
   bool takeReached();
   void closeStepBooks(ZqReal dt);
   void closeStepBook(ZqU32 index, ZqReal dt, ZqEnergyBook& book);
   ZqReal powerOnLinks(ZqU32 index, const ZqManipulatorExternalForce& forces);
   ZqEnergyBook::Held heldBy(ZqU32 index);
   ZqEnergyBook::Held heldBetweenInteractions();
   ZqEnergyBook::Held heldInTrial();

   ZqStatedSystem m_scene; ///< as it was at the beginning, but for attachments
   Settings m_settings;
   ZqManipulatorSystemState m_state;
   ZqManipulatorSystemState m_stateBefore; ///< the present step
   ZqManipulatorSystemState m_stateKept;   ///< with books, what was sent back
   ZqSystemActiveState m_active;
   std::vector<Member> m_members; ///< one a manipulator
   std::vector<std::unique_ptr<Tree>> m_trees;
   /// \name Indices of members, so that many bodies are not looked at in vain
   /// @{
   std::vector<ZqU32> m_jointed;
   std::vector<ZqU32> m_constrained; ///< by what the solver heeds, and solved by themselves
   std::vector<ZqU32> m_watched;     ///< for limits and by criteria
   /// Of which the active state has the accelerations at the end of a step. Of the others, rigid bodies that
   /// no criterion may ask for, it has but gravity.
   std::vector<ZqU32> m_accelerated;
   /// @}
   ZqXmlVectorType<ZqManipulatorTorque> m_torques; ///< at the motors, by manipulator
   ZqLinkInteractionsVector m_interactions;        ///< those of the scene: they remember
   bool m_interacts = false;                       ///< there are any, and they are to act
   ZqReal m_projectedStep = 0.0; ///< the last one that was projected to constraints (s)
   ZqStatedSystem::PropagationResults m_results;
   bool m_hasAttachments = false;
   bool m_hasCriteria = false; ///< any manipulator
   bool m_isPresent = false;   ///< what the active state holds, with all that follows from it
   ZqXmlVectorBasicType<ZqReal> m_derivatives;
   ZqXmlVectorBasicType<ZqReal> m_nearbyDerivatives;
   std::vector<ZqReal> m_nextConverterState;
   std::vector<LimitHit> m_limitHits;
   std::vector<FiredCriterion> m_firedCriteria;
   std::optional<Divergence> m_divergence;
   std::optional<LoopGap> m_greatestGap;
   std::uint64_t m_steps = 0;
   std::uint64_t m_substitutedSteps = 0;
   std::vector<Carried> m_carried;
   std::vector<Contact> m_contacts;
   bool m_areContactsPresent = false;
   std::vector<ContactOfStep> m_contactsOfStep; ///< that of the last one
   std::vector<ContactOfStep>
      m_contactsBefore;        ///< and of the one before, which it is compared with
   std::vector<Push> m_pushes; ///< the hard ones of the step
   std::optional<DeepestContact> m_deepestContact; ///< where the last step began
   std::optional<DeepestContact> m_greatestDepth;
   std::uint64_t m_slips = 0;
   ZqEnergyBook m_book;                      ///< of the steps that were done, without what is held
   bool m_hasBookBegun = false;              ///< with the first step
   ZqInteractionEnergy m_interactionsOfStep; ///< where the step began
};
