#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <set>
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
   return "Zq" + text + "Token";
}

// The identifiers whose text is not what the rule gives.
const std::map<std::string, std::string> exceptions{
   {"ZqBaseLinkLabelToken", "baseLinkLabelToken"},
   {"ZqBaseManipulatorIndexToken", "baseManipulatorIndexToken"},
   {"ZqBiasToken", "articulatedBodyInertia"},
   {"ZqCollisionAvoidanceMetricToken", "zqCollisionAvoidanceMetric"},
   {"ZqComPolygonalStoppingCriterionToken", "polygonalStoppingCriterion"},
   {"ZqDhAToken", "a"},
   {"ZqDhAlphaToken", "alpha"},
   {"ZqDhDToken", "d"},
   {"ZqDhFrameAccelerationInLocalToken", "frameAccelerationInLocal"},
   {"ZqDhFrameAccelerationInSystemToken", "frameAccelerationInSystem"},
   {"ZqDhThetaToken", "theta"},
   {"ZqDhTypeCraigToken", "craig"},
   {"ZqDhTypeGeneralCraigToken", "generalCraig"},
   {"ZqDhTypeGeneralPaulToken", "generalPaul"},
   {"ZqDhTypeGeneralToken", "general"},
   {"ZqDhTypePaulToken", "paul"},
   {"ZqGeneralBoundObjectShapeContainerToken", "shapeContainer"},
   {"ZqJointTypePrismaticToken", "prismatic"},
   {"ZqJointTypeRotationalToken", "rotational"},
   {"ZqLabelAssociatedMapIdentifierToken", "labelAssociationIdentifierMap"},
   {"ZqLabelAssociatedMapToken", "labelAssociationMap"},
   {"ZqLatchTypeClosedWithTurnToken", "closedWithTurn"},
   {"ZqLatchTypeClosedWithoutTurnToken", "closedWithoutTurn"},
   {"ZqLinkAccelerationStatesToken", "accelerationStates"},
   {"ZqLinkIdentifierToken", "linkIndentifier"},
   {"ZqLinkInterfaceInUseToken", "linkInterfaceInUseFlag"},
   {"ZqManipulatorSelfCollisionLinkMapToken", "manipSelfCollisionLinkMap"},
   {"ZqMechanicalActuatorComponentContainerToken", "zqMechanicalActuatorComponentContainer"},
   {"ZqMechanicalActuatorComponentToken", "zqMechanicalActuatorComponent"},
   {"ZqModeArbitraryToken", "arbitrary"},
   {"ZqModeNoChangeToken", "noChange"},
   {"ZqModeNoRotationToken", "noRotation"},
   {"ZqModeNoTranslationToken", "noTranslation"},
   {"ZqMultivariableConstraintContainerToken", "multivariableConstraintToken"},
   {"ZqRestitutionModelCollisionForceProcessorToken", "restitutionCollisionForceModelProcessor"},
   {"ZqRotationalFrictionScaleFactorToken", "rotationalFrictionScaleFactorMap"},
   {"ZqStateRandomVariationToken", "stateRandomVariationToken"},
   {"ZqSurfaceTensionDamperConstantToken", "zqSurfaceTensionDamperConstant"},
   {"ZqSurfaceTensionSpringExponentToken", "zqSurfaceTensionSpringExponent"},
   {"ZqSurfaceTensionTorsionalDamperConstantToken", "zqSurfaceTensionTorsionalDamperConstant"},
   {"ZqSurfaceTensionTorsionalSpringConstantToken", "zqSurfaceTensionTorsionalSpringConstant"},
   {"ZqSystemCollisionExclusionMapForCAToken", "systemCollisionExclusionSetForCA"},
   {"ZqSystemCollisionExclusionMapToken", "systemCollisionExclusionSet"}};

const std::set<std::string> plainIdentifiers{"ZqCollisionAvoidanceMetricToken",
                                             "ZqDhTypeCraigToken",
                                             "ZqDhTypeGeneralCraigToken",
                                             "ZqDhTypeGeneralPaulToken",
                                             "ZqDhTypeGeneralToken",
                                             "ZqDhTypePaulToken",
                                             "ZqFixedSliderJointToken",
                                             "ZqJointTypePrismaticToken",
                                             "ZqJointTypeRotationalToken",
                                             "ZqLatchTypeClosedWithTurnToken",
                                             "ZqLatchTypeClosedWithoutTurnToken",
                                             "ZqModeArbitraryToken",
                                             "ZqModeNoChangeToken",
                                             "ZqModeNoRotationToken",
                                             "ZqModeNoTranslationToken",
                                             "ZqPivotedSliderJointToken",
                                             "ZqSurfaceTensionDamperConstantToken",
                                             "ZqSurfaceTensionSpringExponentToken",
                                             "ZqSurfaceTensionTorsionalDamperConstantToken",
                                             "ZqSurfaceTensionTorsionalSpringConstantToken",
                                             "ZqTotalReadableLinkCountToken"};

TEST(Tokens, ServeTheStaticInitialisersOfOtherTranslationUnits)
{
   EXPECT_EQ(mapMadeAtStart.size(), 3u);
   EXPECT_EQ(mapMadeAtStart.at(ZqToken("http://zqmanipulator.org/namespace/mn#statedSystem")), 1);
   EXPECT_EQ(mapMadeAtStart.at(ZqToken("paul")), 2);
   EXPECT_EQ(stringMadeAtStart, "http://zqmanipulator.org/namespace/mn#zDistanceC");
   EXPECT_EQ(tokenMadeAtStart, ZqManip::ZqDhFrameToken);
}

TEST(Tokens, VocabularyIsCompleteAndFollowsTheRuleButForTheListedExceptions)
{
   std::map<std::string, std::string> departures;
   for (const Entry& entry : vocabulary())
   {
      const std::string name(entry.token->localName());
      if (identifierByRule(name) != entry.identifier)
         departures.emplace(entry.identifier, name);
   }
   EXPECT_EQ(vocabulary().size(), 454u);
   EXPECT_EQ(departures, exceptions);
}

TEST(Tokens, EachTextStandsOnceButForTheSharedOne)
{
   std::map<std::string, std::vector<std::string>> identifiersOfText;
   for (const Entry& entry : vocabulary())
      identifiersOfText[entry.token->token()].push_back(entry.identifier);
   std::erase_if(identifiersOfText, [](const auto& item) { return item.second.size() == 1; });

   const std::map<std::string, std::vector<std::string>> shared{
      {ZqManip::ns.token() + "articulatedBodyInertia",
       {"ZqArticulatedBodyInertiaToken", "ZqBiasToken"}}};
   EXPECT_EQ(identifiersOfText, shared);
}

TEST(Tokens, NamespaceStandsBeforeAllButThePlainOnes)
{
   std::set<std::string> plain;
   for (const Entry& entry : vocabulary())
   {
      if (entry.token->namespaceUri().empty())
         plain.insert(entry.identifier);
      else
         EXPECT_EQ(entry.token->namespaceUri(), ZqManip::ns.view()) << entry.identifier;
   }
   EXPECT_EQ(plain, plainIdentifiers);
}

TEST(Tokens, FoundationTextsAreDistinctAndTheCountIsAnAttribute)
{
   std::set<std::string_view> texts;
   for (const Entry& entry : foundationVocabulary())
   {
      EXPECT_TRUE(texts.insert(entry.token->view()).second) << entry.identifier;
      EXPECT_EQ(entry.token->namespaceUri().empty(), entry.isPlain) << entry.identifier;
   }
   for (const Entry& entry : vocabulary())
      EXPECT_FALSE(texts.contains(entry.token->view())) << entry.identifier;

   EXPECT_EQ(ZqXml::ZqCountToken, "count");
   EXPECT_EQ(ZqGeom::ZqShapeContainerToken.namespaceUri(), ZqGeom::ns.view());
   EXPECT_EQ(ZqSensorInterface::ZqSensorVectorToken.namespaceUri(), ZqSensorInterface::ns.view());
   EXPECT_EQ(ZqFoundCommon::ZqGeneralForceToken.namespaceUri(), ZqFoundCommon::ns.view());
   EXPECT_EQ(ZqXml::ZqElementToken.namespaceUri(), ZqXml::ns.view());
}

} // namespace
