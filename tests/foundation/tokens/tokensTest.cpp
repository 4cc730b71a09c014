#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

#include <gtest/gtest.h>

#include <cctype>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace
{
// Filled before main, when the translation unit of the tokens may not have started yet.
const std::map<ZqToken, int> mapMadeAtStart{
   {ZqManip::ZqStatedSystemToken, 1}, {ZqManip::ZqDhTypePaulToken, 2}, {ZqXml::ZqElementToken, 3}};
const ZqString stringMadeAtStart = ZqManip::ZqZDistanceCToken.token();
const ZqToken tokenMadeAtStart = ZqManip::ns + "dhFrame";

struct Entry
{
   std::string identifier;
   const ZqToken* token;
   bool isPlain;
};

std::vector<Entry> vocabulary()
{
   return {
#define ZQ_MANIP_TOKEN(identifier, name) {#identifier, &ZqManip::identifier, false},
#define ZQ_MANIP_PLAIN_TOKEN(identifier, name) {#identifier, &ZqManip::identifier, true},
#include "zqManipulator/foundation/tokens/ZqManipTokens.def"
   };
}

std::vector<Entry> foundationVocabulary()
{
   return {
#define ZQ_FOUNDATION_TOKEN(space, identifier, name) {#identifier, &space::identifier, false},
#define ZQ_FOUNDATION_PLAIN_TOKEN(space, identifier, name) {#identifier, &space::identifier, true},
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.def"
   };
}

std::string identifierByRule(std::string_view name)
{
   std::string text(name);
   text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
   return text;
}

std::set<std::string> words(const std::string& text)
{
   std::istringstream stream(text);
   return {std::istream_iterator<std::string>(stream), {}};
}

// The identifiers, without Zq and Token, whose text is not what the rule gives, and that text.
const char* const exceptions = R"(
   BaseLinkLabel=baseLinkLabelToken BaseManipulatorIndex=baseManipulatorIndexToken
   Bias=articulatedBodyInertia CollisionAvoidanceMetric=zqCollisionAvoidanceMetric
   ComPolygonalStoppingCriterion=polygonalStoppingCriterion DhA=a DhAlpha=alpha DhD=d
   DhFrameAccelerationInLocal=frameAccelerationInLocal
   DhFrameAccelerationInSystem=frameAccelerationInSystem DhTheta=theta DhTypeCraig=craig
   DhTypeGeneralCraig=generalCraig DhTypeGeneralPaul=generalPaul DhTypeGeneral=general
   DhTypePaul=paul GeneralBoundObjectShapeContainer=shapeContainer JointTypePrismatic=prismatic
   JointTypeRotational=rotational LabelAssociatedMapIdentifier=labelAssociationIdentifierMap
   LabelAssociatedMap=labelAssociationMap LatchTypeClosedWithTurn=closedWithTurn
   LatchTypeClosedWithoutTurn=closedWithoutTurn LinkAccelerationStates=accelerationStates
   LinkIdentifier=linkIndentifier LinkInterfaceInUse=linkInterfaceInUseFlag
   ManipulatorSelfCollisionLinkMap=manipSelfCollisionLinkMap
   MechanicalActuatorComponentContainer=zqMechanicalActuatorComponentContainer
   MechanicalActuatorComponent=zqMechanicalActuatorComponent ModeArbitrary=arbitrary
   ModeNoChange=noChange ModeNoRotation=noRotation ModeNoTranslation=noTranslation
   MultivariableConstraintContainer=multivariableConstraintToken
   RestitutionModelCollisionForceProcessor=restitutionCollisionForceModelProcessor
   RotationalFrictionScaleFactor=rotationalFrictionScaleFactorMap
   StateRandomVariation=stateRandomVariationToken
   SurfaceTensionDamperConstant=zqSurfaceTensionDamperConstant
   SurfaceTensionSpringExponent=zqSurfaceTensionSpringExponent
   SurfaceTensionTorsionalDamperConstant=zqSurfaceTensionTorsionalDamperConstant
   SurfaceTensionTorsionalSpringConstant=zqSurfaceTensionTorsionalSpringConstant
   SystemCollisionExclusionMapForCA=systemCollisionExclusionSetForCA
   SystemCollisionExclusionMap=systemCollisionExclusionSet )";

const char* const plainIdentifiers = R"(
   CollisionAvoidanceMetric DhTypeCraig DhTypeGeneralCraig DhTypeGeneralPaul DhTypeGeneral
   DhTypePaul FixedSliderJoint JointTypePrismatic JointTypeRotational LatchTypeClosedWithTurn
   LatchTypeClosedWithoutTurn ModeArbitrary ModeNoChange ModeNoRotation ModeNoTranslation
   PivotFrame PivotedSliderJoint SurfaceDissipation SurfaceTensionDamperConstant
   SurfaceTensionSpringExponent SurfaceTensionTorsionalDamperConstant
   SurfaceTensionTorsionalSpringConstant TotalReadableLinkCount)";

TEST(Tokens, ServeTheStaticInitialisersOfOtherTranslationUnits)
{
   EXPECT_EQ(mapMadeAtStart.size(), 3u);
   EXPECT_EQ(mapMadeAtStart.at(ZqToken("http://zqmanipulator.org/namespace/mn#statedSystem")), 1);
   EXPECT_EQ(mapMadeAtStart.at(ZqToken("paul")), 2);
   EXPECT_EQ(stringMadeAtStart, "http://zqmanipulator.org/namespace/mn#zDistanceC");
   EXPECT_EQ(tokenMadeAtStart, ZqManip::ZqDhFrameToken);
}

TEST(Tokens, VocabularyIsCompleteAndFollowsTheRulesButForTheListedExceptions)
{
   std::set<std::string> departures;
   std::set<std::string> plain;
   std::set<std::string> texts;
   std::vector<std::string> repeated;
   for (const Entry& entry : vocabulary())
   {
      const std::string identifier = entry.identifier.substr(2, entry.identifier.size() - 7);
      const std::string name(entry.token->localName());
      if (identifierByRule(name) != identifier)
         departures.insert(identifier + '=' + name);
      if (entry.token->namespaceUri().empty())
         plain.insert(identifier);
      else
         EXPECT_EQ(entry.token->namespaceUri(), ZqManip::ns.view()) << identifier;
      if (!texts.insert(entry.token->token()).second)
         repeated.push_back(identifier);
   }
   EXPECT_EQ(vocabulary().size(), 528u);
   EXPECT_EQ(departures, words(exceptions));
   EXPECT_EQ(plain, words(plainIdentifiers));
   EXPECT_EQ(repeated, std::vector<std::string>{"Bias"}); // stands for the articulated body inertia
}

TEST(Tokens, FoundationTextsAreDistinct)
{
   std::set<std::string_view> texts;
   for (const Entry& entry : vocabulary())
      texts.insert(entry.token->view());
   for (const Entry& entry : foundationVocabulary())
   {
      EXPECT_TRUE(texts.insert(entry.token->view()).second) << entry.identifier;
      EXPECT_EQ(entry.token->namespaceUri().empty(), entry.isPlain) << entry.identifier;
   }
}
} // namespace
