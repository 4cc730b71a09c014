#pragma once

#include "zqManipulator/state/ZqPositionState.h"
#include "zqManipulator/state/ZqVelocityState.h"

class ZqModelEdit;

/// Where a whole system is and how fast it moves, at a time in seconds. Element i of both vectors
/// belongs to manipulator i. Reading a document makes the velocity states fit the position states,
/// with a message; everything else leaves it to the caller that they fit.
class ZqManipulatorSystemState : public ZqXmlClass<ZqManipulatorSystemState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorSystemStateToken; }
   static constexpr const char* documentation = "the state of a scene";
   template <class This = ZqManipulatorSystemState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_positionStates, &ZqManip::ZqPositionStatesToken,
                                    "positions of each manipulator, by index"},
                        ZqComponent{&This::m_velocityStates, &ZqManip::ZqVelocityStatesToken,
                                    "velocities of each manipulator, by index"},
                        ZqComponent{&This::m_time, &ZqManip::ZqTimeToken, "time (s)"}};
   }
   /// A shared empty state at time 0.
   static const ZqManipulatorSystemState& nullObject();
   /// Answers whether the document was read; that velocity states had to be corrected is no failure.
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqManipulatorSystemState&) const = default;

   /// Appends the manipulators of another system, which may be this one; the time stays. True.
   virtual ZqBoolean mergeWith(const ZqManipulatorSystemState& other);
   virtual ZqXmlVectorType<ZqPositionState>& positionStates() { return m_positionStates; }
   virtual const ZqXmlVectorType<ZqPositionState>& positionStates() const
   {
      return m_positionStates;
   }
   virtual void setPositionStates(const ZqXmlVectorType<ZqPositionState>& states)
   {
      m_positionStates = states;
   }
   virtual ZqXmlVectorType<ZqVelocityState>& velocityStates() { return m_velocityStates; }
   virtual const ZqXmlVectorType<ZqVelocityState>& velocityStates() const
   {
      return m_velocityStates;
   }
   virtual void setVelocityStates(const ZqXmlVectorType<ZqVelocityState>& states)
   {
      m_velocityStates = states;
   }
   /// Stops all motion; sizes, positions and the time stay.
   virtual void zeroVelocityStates();
   virtual ZqReal time() const { return m_time; }
   virtual void setTime(ZqReal time) { m_time = time; }

   /// True when there are as many manipulators and joints and no number, the time included if asked
   /// for, differs by more than the tolerance.
   virtual bool approxEq(const ZqManipulatorSystemState& other, ZqReal tolerance,
                         bool compareTime) const;
   /// The binary form of the machine: the time, the number of position states in 32 bits, the position
   /// states, and the same of the velocity states. What is read is not trusted: memory grows with the
   /// states that arrive, not with the counts. A count that is 0 or, taken as signed, less stands for
   /// no states. False when the stream ends early or a frame is refused; then what came before the
   /// fault has been taken, a vector that is cut short holds the states that were whole, and what
   /// follows is unchanged. Numbers of manipulators and joints are not compared.
   virtual ZqBoolean readBin(std::istream& stream);
   virtual ZqBoolean writeBin(std::ostream& stream) const;
   /// Becomes the state between two at a time, by `linearFactorInterpolation`. False for states of the
   /// same time: the result then is the first. Either state may be this one.
   virtual ZqBoolean linearInterpolation(const ZqManipulatorSystemState& first,
                                         const ZqManipulatorSystemState& second, ZqReal time);
   /// Becomes first + factor (second - first), where either may be this one; a factor outside [0, 1]
   /// extrapolates joints and frames alike. What cannot be blended is that of the first: velocities of
   /// unequal joint counts and those that the second lacks. With unequal numbers of position states it
   /// answers false, with a message, and everything is that of the first.
   virtual ZqBoolean linearFactorInterpolation(const ZqManipulatorSystemState& first,
                                               const ZqManipulatorSystemState& second,
                                               ZqReal factor);
   /// True when there are as many manipulators, with as many joints each.
   virtual bool checkCompatibleState(const ZqManipulatorSystemState& other) const;
   /// Frames, positions and rates follow manipulators and joints, and go with them. Joints that came
   /// between others stand at 1e-9, without a rate; what came behind them is left to the caller.
   void apply(const ZqModelEdit& edit);

protected:
   /// Makes the number of velocity states that of the position states: null states are added, surplus
   /// ones dropped. False, with a message, when there was something to correct.
   virtual bool validateTopLevelDimensions();
   /// The same for the number of joints in each state, with zeros.
   virtual bool validateLowLevelDimensions();

private:
   ZqXmlVectorType<ZqPositionState> m_positionStates;
   ZqXmlVectorType<ZqVelocityState> m_velocityStates;
   ZqReal m_time = 0.0;
};

extern template class ZqXmlClass<ZqManipulatorSystemState>;
