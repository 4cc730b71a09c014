#include "apps/zqsim/edits.h"

#include <CLI/CLI.hpp>

#include <map>
#include <memory>
#include <vector>

namespace
{
using namespace zqsim;

/// New labels by old ones.
using Labels = std::map<std::string, std::string>;

/// Gives all that are listed their new labels, as one change: labels may be swapped. A label that nobody is to have
/// stands for a while for one that is taken.
template <class Relabel, class IsTaken>
void relabelAll(const Labels& labels, const Relabel& relabel, const IsTaken& isTaken)
{
   std::map<std::string, std::string> later;
   for (const auto& [from, to] : labels)
   {
      if (from == to)
         continue;
      if (!isTaken(to))
      {
         relabel(from, to);
         continue;
      }
      std::string between = to + "-";
      while (isTaken(between) || later.contains(between))
         between += '-';
      relabel(from, between);
      later[between] = to;
   }
   for (const auto& [from, to] : later)
      relabel(from, to);
}

/// Who gets a label must be alone with it.
void requireUnique(const std::vector<std::string>& all, const Labels& labels, const char* option,
                   const std::string& what)
{
   std::map<std::string, int> counts;
   for (const std::string& old : all)
   {
      const auto change = labels.find(old);
      ++counts[change != labels.end() ? change->second : old];
   }
   for (const auto& [from, to] : labels)
      if (from != to && counts[to] > 1)
         throw Failure(Usage,
                       std::string(option) + ": " + what + " \"" + to + "\" would be there twice");
}

void addLabel(Labels& labels, const char* option, const std::string& from, const std::string& to)
{
   if (!labels.emplace(from, to).second)
      throw Failure(Usage, std::string(option) + ": \"" + from + "\" is given twice");
}

void relabelLinks(ZqStatedSystem& scene, ZqU32 index, const Labels& labels, Changes& changes)
{
   const ZqIndividualManipulator& manipulator = *scene.manipulatorByIndex(index);
   requireUnique(manipulator.concreteReference().linkLabels(), labels, "--link",
                 "in manipulator \"" + manipulator.manipulatorLabel() + "\" link");
   for (const auto& [from, to] : labels)
      changes.add("link", labelOf(scene, index) + '/' + from, from, to);
   relabelAll(
      labels,
      [&](const std::string& from, const std::string& to)
      { require([&] { return scene.changeLinkLabel(index, from, to); }); },
      [&](const std::string& label)
      { return scene.manipulatorByIndex(index)->linkByIdentifier(label) != nullptr; });
}

void relabelManipulators(ZqStatedSystem& scene, const Labels& labels, Changes& changes)
{
   std::vector<std::string> all;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      all.push_back(labelOf(scene, i));
   requireUnique(all, labels, "--manipulator", "manipulator");
   for (const auto& [from, to] : labels)
      changes.add("manipulator", from, from, to);
   relabelAll(
      labels,
      [&](const std::string& from, const std::string& to)
      {
         if (!scene.changeManipulatorLabel(from, to))
            throw Failure(Usage, "--manipulator: \"" + from + "\" cannot become \"" + to +
                                    "\": the label is in use");
      },
      [&](const std::string& label) { return scene.system().labelPool().isLabelUsing(label); });
}
} // namespace

zqsim::Run zqsim::relabel(CLI::App& arguments)
{
   struct Options : EditArguments
   {
      std::vector<std::string> manipulators;
      std::vector<std::string> links;
      std::string prefix;
   };
   const auto options = std::make_shared<Options>();
   options->declare(arguments);
   arguments
      .add_option("--manipulator", options->manipulators,
                  "Label a manipulator anew; may be given for several")
      ->type_name("OLD=NEW")
      ->expected(1)
      ->take_all();
   arguments
      .add_option(
         "--link", options->links,
         "Label a link anew, by its label or as MANIPULATOR/OLD=NEW with the manipulator's "
         "old label; may be given for several")
      ->type_name("OLD=NEW")
      ->expected(1)
      ->take_all();
   arguments
      .add_option("--prefix", options->prefix,
                  "Put a text before the labels of all manipulators that are not given one")
      ->type_name("TEXT");
   arguments.footer("All labels change at once, so that two can be swapped. What speaks of a "
                    "manipulator or a link by its label speaks of the same one afterwards.");
   return [options]
   {
      if (options->manipulators.empty() && options->links.empty() && options->prefix.empty())
         throw Failure(Usage, "relabel: --manipulator, --link or --prefix is required");
      return runEdit(
         *options,
         [&](ZqStatedSystem& scene, Changes& changes)
         {
            Labels manipulators;
            std::map<ZqU32, Labels> links;
            for (const std::string& argument : options->manipulators)
            {
               const auto [from, to] = splitAtSign("--manipulator", argument, "OLD=NEW");
               findManipulator(scene, "--manipulator", from);
               addLabel(manipulators, "--manipulator", from, to);
            }
            for (const std::string& argument : options->links)
            {
               const auto [from, to] = splitAtSign("--link", argument, "OLD=NEW");
               const LinkPlace place = findLink(scene, "--link", from);
               addLabel(links[place.manipulator], "--link", place.link, to);
            }
            if (!options->prefix.empty())
               for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
                  manipulators.emplace(labelOf(scene, i), options->prefix + labelOf(scene, i));
            for (const auto& [index, labels] : links)
               relabelLinks(scene, index, labels, changes);
            relabelManipulators(scene, manipulators, changes);
         });
   };
}
