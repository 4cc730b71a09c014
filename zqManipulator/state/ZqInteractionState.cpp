#include "zqManipulator/state/ZqInteractionState.h"

#include "zqManipulator/foundation/xml/ZqXmlWhiteSpace.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>
#include <charconv>
#include <cmath>

template class ZqXmlClass<ZqContactState>;
template class ZqXmlVectorType<ZqContactState>;
template class ZqXmlClass<ZqInteractionState>;

namespace
{
constexpr std::size_t numbersOfPoint = 10;
/// As long as there was no rate.
constexpr std::size_t leastNumbersOfPoint = 9;

/// Puts numbers at the end of a list.
class NumberSink
{
public:
   explicit NumberSink(ZqXmlVectorBasicType<ZqReal>& numbers) : m_numbers(numbers) {}
   void put(ZqReal number) { m_numbers.pushBack(number); }
   void put(const ZqVector& v)
   {
      for (const ZqReal number : {v.x(), v.y(), v.z()})
         put(number);
   }
   void put(const ZqCoordinateSystemTransformation& X)
   {
      put(X.translation());
      const ZqOrientation& q = X.orientation();
      for (const ZqReal number : {q.w(), q.x(), q.y(), q.z()})
         put(number);
   }
   void put(const ZqGeneralMotion& motion)
   {
      put(motion.linear());
      put(motion.angular());
   }

private:
   ZqXmlVectorBasicType<ZqReal>& m_numbers;
};

/// Takes numbers from the front of a list that has enough of them.
class NumberSource
{
public:
   explicit NumberSource(const ZqXmlVectorBasicType<ZqReal>& numbers)
      : m_next(numbers.values().data())
   {
   }
   void take(ZqReal& number) { number = *m_next++; }
   void take(ZqVector& v)
   {
      v = ZqVector(m_next[0], m_next[1], m_next[2]);
      m_next += 3;
   }
   void take(ZqCoordinateSystemTransformation& X)
   {
      ZqVector p;
      take(p);
      X = {p, ZqOrientation(m_next[0], m_next[1], m_next[2], m_next[3])};
      m_next += 4;
   }
   void take(ZqGeneralMotion& motion)
   {
      ZqVector linear;
      ZqVector angular;
      take(linear);
      take(angular);
      motion = {linear, angular};
   }

private:
   const ZqReal* m_next;
};

template <class T>
void putAll(const std::array<T, 2>& values, ZqXmlVectorBasicType<ZqReal>& numbers)
{
   NumberSink sink(numbers);
   for (const T& value : values)
      sink.put(value);
}

template <class T>
void takeAll(const ZqXmlVectorBasicType<ZqReal>& numbers, std::array<T, 2>& values)
{
   NumberSource source(numbers);
   for (T& value : values)
      source.take(value);
}

/// False when the text is not so many numbers.
bool parseNames(std::string_view text, std::size_t count, ZqContactMemory& memory)
{
   for (std::size_t i = 0; i < count; ++i)
   {
      const std::string_view word = ZqXmlWhiteSpace::takeWord(text);
      const auto [end, error] =
         std::from_chars(word.data(), word.data() + word.size(), memory.grips[i].name);
      if (error != std::errc() || end != word.data() + word.size())
         return false;
   }
   return ZqXmlWhiteSpace::isAllSpace(text);
}

bool areFinite(const ZqXmlVectorBasicType<ZqReal>& numbers)
{
   return std::all_of(numbers.begin(), numbers.end(), [](ZqReal x) { return std::isfinite(x); });
}
} // namespace

ZqContactState::ZqContactState(const ZqContactMemoryOfPair& pair)
   : m_manipulatorOneIndex(pair.key1.manipulatorIndex()), m_linkOneIndex(pair.key1.linkIndex()),
     m_shapeOneIndex(pair.key1.shapeIndex()), m_manipulatorTwoIndex(pair.key2.manipulatorIndex()),
     m_linkTwoIndex(pair.key2.linkIndex()), m_shapeTwoIndex(pair.key2.shapeIndex()),
     m_frictionMode(static_cast<ZqU32>(pair.memory.frictionMode)),
     m_isSlipping(pair.memory.isSlipping)
{
   const ZqContactMemory& memory = pair.memory;
   if (std::isfinite(memory.time))
      m_times.pushBack(memory.time);
   putAll(memory.stickPoint, m_stickPoints);
   putAll(memory.stickFrame, m_stickFrames);
   putAll(memory.velocity, m_velocities);
   putAll(memory.lastVelocity, m_lastVelocities);
   m_patchNumbers.pushBack(memory.part);
   m_patchNumbers.pushBack(memory.reserve);
   m_patchNumbers.pushBack(memory.tangentialEnergy);
   NumberSink sink(m_pointNumbers);
   for (int i = 0; i < memory.gripCount; ++i)
   {
      const ZqPointGrip& grip = memory.grips[i];
      if (i > 0)
         m_pointNames += ' ';
      m_pointNames += std::to_string(grip.name);
      m_pointStates.pushBack(static_cast<ZqU32>(grip.state));
      sink.put(grip.anchor1);
      sink.put(grip.anchor2);
      sink.put(grip.twist);
      sink.put(grip.weight);
      sink.put(grip.energy);
      sink.put(grip.rate);
   }
}

bool ZqContactState::get(ZqContactMemoryOfPair& pair) const
{
   const std::size_t points = m_pointStates.size();
   const auto isState = [](ZqU32 state) { return state <= ZqU32(ZqPointGrip::State::Yields); };
   const bool isWithoutRates = m_pointNumbers.size() == leastNumbersOfPoint * points;
   ZqContactMemory memory;
   if (m_times.size() > 1 || m_frictionMode > ZqU32(ZqFrictionMode::NewContact) ||
       m_stickPoints.size() != 6 || m_stickFrames.size() != 14 || m_velocities.size() != 12 ||
       m_lastVelocities.size() != 12 ||
       (m_patchNumbers.size() != 2 && m_patchNumbers.size() != 3) ||
       points > ZqContactMemory::capacity ||
       (m_pointNumbers.size() != numbersOfPoint * points && !isWithoutRates) ||
       !std::all_of(m_pointStates.begin(), m_pointStates.end(), isState) ||
       !parseNames(m_pointNames, points, memory))
      return false;
   for (const Reals* reals : {&m_times, &m_stickPoints, &m_stickFrames, &m_velocities,
                              &m_lastVelocities, &m_patchNumbers, &m_pointNumbers})
      if (!areFinite(*reals))
         return false;

   if (m_times.size() > 0)
      memory.time = m_times[0];
   memory.frictionMode = static_cast<ZqFrictionMode>(m_frictionMode);
   memory.isSlipping = m_isSlipping;
   takeAll(m_stickPoints, memory.stickPoint);
   takeAll(m_stickFrames, memory.stickFrame);
   takeAll(m_velocities, memory.velocity);
   takeAll(m_lastVelocities, memory.lastVelocity);
   memory.part = m_patchNumbers[0];
   memory.reserve = m_patchNumbers[1];
   memory.tangentialEnergy = m_patchNumbers.size() > 2 ? m_patchNumbers[2] : 0.0;
   memory.gripCount = static_cast<int>(points);
   NumberSource source(m_pointNumbers);
   for (std::size_t i = 0; i < points; ++i)
   {
      ZqPointGrip& grip = memory.grips[i];
      grip.state = static_cast<ZqPointGrip::State>(m_pointStates[i]);
      source.take(grip.anchor1);
      source.take(grip.anchor2);
      source.take(grip.twist);
      source.take(grip.weight);
      source.take(grip.energy);
      if (!isWithoutRates)
         source.take(grip.rate);
   }
   pair = {{m_manipulatorOneIndex, m_linkOneIndex, m_shapeOneIndex},
           {m_manipulatorTwoIndex, m_linkTwoIndex, m_shapeTwoIndex},
           memory};
   return true;
}

namespace
{
ZqManipulatorLinkIndex placeOf(const ZqShapeKey& key)
{
   return {key.manipulatorIndex(), key.linkIndex()};
}

bool hasOtherFrame(const ZqModelEdit& edit, const ZqShapeKey& key)
{
   return !(edit.restatement(placeOf(key)).T == ZqCoordinateSystemTransformation::identity());
}

/// Of one body, in a new primary frame.
void restateSide(ZqContactMemory& memory, std::size_t side,
                 const ZqCoordinateSystemTransformation& T, const ZqOrientation& newOrientation)
{
   memory.stickPoint[side] = T * memory.stickPoint[side];
   memory.stickFrame[side] = memory.stickFrame[side] * T.inverse();
   for (int i = 0; i < memory.gripCount; ++i)
   {
      ZqVector& anchor = side == 0 ? memory.grips[i].anchor1 : memory.grips[i].anchor2;
      anchor = T * anchor;
   }
   const ZqVector toNewOrigin = newOrientation * T.translation() * -1.0;
   for (ZqGeneralMotion* velocity : {&memory.velocity[side], &memory.lastVelocity[side]})
      *velocity = {velocity->linear() + velocity->angular().cross(toNewOrigin),
                   velocity->angular()};
}
} // namespace

void ZqInteractionState::restate(
   const ZqModelEdit& edit,
   const std::function<ZqOrientation(const ZqManipulatorLinkIndex&)>& newOrientationOf)
{
   for (ZqContactState& contact : m_contacts)
   {
      ZqContactMemoryOfPair pair;
      if (!contact.get(pair) ||
          (!hasOtherFrame(edit, pair.key1) && !hasOtherFrame(edit, pair.key2)))
         continue;
      for (std::size_t side = 0; side < 2; ++side)
         if (const ZqShapeKey& key = side == 0 ? pair.key1 : pair.key2; hasOtherFrame(edit, key))
            restateSide(pair.memory, side, edit.restatement(placeOf(key)).T,
                        newOrientationOf(placeOf(key)));
      contact = ZqContactState(pair);
   }
   std::erase_if(m_pairCaches.vectorContainer(),
                 [&](const ZqPairCacheState& cache)
                 {
                    ZqPairCacheOfPair pair;
                    return cache.get(pair) &&
                           (hasOtherFrame(edit, pair.key1) || hasOtherFrame(edit, pair.key2));
                 });
}
