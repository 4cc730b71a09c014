#pragma once

#include "zqManipulator/tools/variation/ZqStateRandomVariation.h"
#include "zqManipulator/tools/variation/ZqSystemRandomVariation.h"

/// How uncertain a scene is, its model and its state: what a study of many varied scenes needs to know, as a document
/// of its own. By default nothing is uncertain.
class ZqVariationStudy : public ZqXmlClass<ZqVariationStudy>
{
public:
   /// The greatest deviation that is taken, in SI units: far beyond all that is built, and far from what
   /// overflows.
   static constexpr ZqReal greatestSigma = 1e30;

   static const ZqToken& classToken() { return ZqManip::ZqVariationStudyToken; }
   static constexpr const char* documentation =
      "how uncertain a scene is, as standard deviations of its properties";
   template <class This = ZqVariationStudy>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_systemRandomVariation, &ZqManip::ZqSystemRandomVariationToken,
                     "of the properties of links"},
         ZqComponent{&This::m_stateRandomVariation, &ZqManip::ZqStateRandomVariationToken,
                     "of positions and velocities"}};
   }
   ZqVariationStudy() = default;
   ZqVariationStudy(const ZqSystemRandomVariation& system, const ZqStateRandomVariation& state)
      : m_systemRandomVariation(system), m_stateRandomVariation(state)
   {
   }
   bool operator==(const ZqVariationStudy&) const = default;

   const ZqSystemRandomVariation& systemRandomVariation() const { return m_systemRandomVariation; }
   void setSystemRandomVariation(const ZqSystemRandomVariation& variation)
   {
      m_systemRandomVariation = variation;
   }
   const ZqStateRandomVariation& stateRandomVariation() const { return m_stateRandomVariation; }
   void setStateRandomVariation(const ZqStateRandomVariation& variation)
   {
      m_stateRandomVariation = variation;
   }

   /// Empty when every number is finite, not below zero and not above `greatestSigma`. Otherwise what is wrong
   /// with the first that is not, after the elements that lead to it.
   ZqString fault() const;

private:
   ZqSystemRandomVariation m_systemRandomVariation;
   ZqStateRandomVariation m_stateRandomVariation;
};

extern template class ZqXmlClass<ZqVariationStudy>;

/// What a varied scene comes from, and all that is needed to make it again: the study, the document of the scene
/// that was varied, a seed and the number of the sample.
///
/// A scene that is varied again has the origin of the last time, whose source is then the document of the scene
/// that was varied before; that one tells its own. Changes that are made to a varied scene are not told.
class ZqVariationOrigin : public ZqXmlClass<ZqVariationOrigin, ZqVariationStudy>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqVariationOriginToken; }
   static constexpr const char* documentation =
      "the document, the deviations and the numbers from which a scene was varied";
   template <class This = ZqVariationOrigin>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_source, &ZqManip::ZqSourceToken, "name of the document of the model"},
         ZqComponent{&This::m_sourceHash, &ZqManip::ZqSourceHashToken,
                     "SHA-256 of the bytes of that document, in hexadecimal digits"},
         ZqComponent{&This::m_seed, &ZqManip::ZqSeedToken, "seed of the study"},
         ZqComponent{&This::m_sample, &ZqManip::ZqSampleToken, "number of the scene in the study"}};
   }
   ZqVariationOrigin() = default;
   /// Of a scene that is no document: the source is empty.
   ZqVariationOrigin(const ZqVariationStudy& study, ZqU32 seed, ZqU32 sample)
      : m_seed(seed), m_sample(sample)
   {
      ZqVariationStudy::operator=(study);
   }
   bool operator==(const ZqVariationOrigin&) const = default;

   const ZqString& source() const { return m_source; }
   const ZqString& sourceHash() const { return m_sourceHash; }
   /// The hash is that of `Zq::sha256`.
   void setSource(const ZqString& source, const ZqString& hash)
   {
      m_source = source;
      m_sourceHash = hash;
   }
   ZqU32 seed() const { return m_seed; }
   void setSeed(ZqU32 seed) { m_seed = seed; }
   ZqU32 sample() const { return m_sample; }
   void setSample(ZqU32 sample) { m_sample = sample; }

private:
   ZqString m_source;
   ZqString m_sourceHash;
   ZqU32 m_seed = 0;
   ZqU32 m_sample = 0;
};

extern template class ZqXmlClass<ZqVariationOrigin, ZqVariationStudy>;
