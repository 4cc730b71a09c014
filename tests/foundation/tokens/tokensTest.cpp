#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

#include <gtest/gtest.h>

#include <cstdint>
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

TEST(Tokens, ServeTheStaticInitialisersOfOtherTranslationUnits)
{
   EXPECT_EQ(mapMadeAtStart.size(), 3u);
   EXPECT_EQ(mapMadeAtStart.at(ZqToken("http://zqmanipulator.org/namespace/mn#statedSystem")), 1);
   EXPECT_EQ(mapMadeAtStart.at(ZqToken("paul")), 2);
   EXPECT_EQ(stringMadeAtStart, "http://zqmanipulator.org/namespace/mn#zDistanceC");
   EXPECT_EQ(tokenMadeAtStart, ZqManip::ZqDhFrameToken);
}

/// FNV-1a, carried on from one text to the next.
void add(std::uint64_t& sum, std::string_view text)
{
   for (const char c : text)
      sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211U;
}

// Documents hold these texts: none may change. A sum stands for all of them; a new token changes it, too.
TEST(Tokens, TextsAreThoseOfTheFormatAndDistinct)
{
   std::uint64_t sum = 14695981039346656037U;
   std::set<std::string_view> texts;
   std::vector<std::string> repeated;
   for (const auto& entries : {vocabulary(), foundationVocabulary()})
      for (const Entry& entry : entries)
      {
         add(sum, entry.identifier + '=');
         add(sum, entry.token->token() + '\n');
         EXPECT_EQ(entry.token->namespaceUri().empty(), entry.isPlain) << entry.identifier;
         if (!texts.insert(entry.token->view()).second)
            repeated.push_back(entry.identifier);
      }
   EXPECT_EQ(sum, 14479179625819742859U);
   EXPECT_EQ(repeated, std::vector<std::string>{"ZqBiasToken"}); // is the articulated body inertia
}
} // namespace
