#include "apps/zqsim/commands.h"
#include "apps/zqsim/outputFile.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <memory>
#include <string>
#include <vector>

// The manual page and the completions of shells, made from what the program declares of itself.
namespace
{
using namespace zqsim;

struct Option
{
   std::vector<std::string> names; ///< with dashes; of a positional argument none
   std::string value;              ///< what stands for the value, such as FILE; empty for a flag
   std::vector<std::string> choices;
   std::string description;
   std::string defaultValue;
   bool isRequired;

   bool takesFile() const { return value == "FILE"; }
};

struct Command
{
   std::string name;
   std::string description;
   std::string footer;
   std::vector<Option> options;
   std::vector<Option> positionals;
};

/// The program itself, and its sub-commands but for those that nobody is shown.
struct Program
{
   Command itself;
   std::vector<Command> commands;
};

Option describe(const CLI::Option& declared)
{
   Option option;
   for (const std::string& name : declared.get_snames())
      option.names.push_back("-" + name);
   for (const std::string& name : declared.get_lnames())
      option.names.push_back("--" + name);
   // The type is followed by the texts of the checks, "NAME:{one,another}".
   const std::string type = declared.get_items_expected_max() > 0 ? declared.get_type_name() : "";
   option.value = type.substr(0, type.find(':'));
   if (const auto brace = type.find('{'); brace != std::string::npos)
      option.choices = CLI::detail::split(type.substr(brace + 1, type.find('}') - brace - 1), ',');
   if (declared.get_positional())
      option.value = declared.get_name();
   option.description = declared.get_description();
   option.defaultValue = declared.get_default_str();
   option.isRequired = declared.get_required();
   return option;
}

Command describe(const CLI::App& app)
{
   Command command{app.get_name(), app.get_description(), app.get_footer(), {}, {}};
   // A sub-command without a footer has that of the program.
   if (app.get_parent() != nullptr && command.footer == app.get_parent()->get_footer())
      command.footer.clear();
   for (const CLI::Option* option : app.get_options())
      (option->get_positional() ? command.positionals : command.options)
         .push_back(describe(*option));
   return command;
}

Program describeProgram(const CLI::App& app)
{
   Program program{describe(app), {}};
   for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
      if (!command->get_group().empty())
         program.commands.push_back(describe(*command));
   return program;
}

/// What a list of choices has room for: a description up to its first colon or semicolon.
std::string shortText(const std::string& description)
{
   return description.substr(0, std::min(description.find(';'), description.find(':')));
}

std::string joined(const std::vector<std::string>& words, const std::string& separator)
{
   return CLI::detail::join(words, separator);
}

/// A text in which each of these characters has a prefix.
std::string escaped(const std::string& text, std::string_view characters, std::string_view prefix)
{
   std::string result;
   for (const char c : text)
   {
      if (characters.find(c) != std::string_view::npos)
         result += prefix;
      result += c;
   }
   return result;
}

// The manual page

std::string roff(const std::string& text)
{
   std::string result;
   bool startsLine = true;
   for (const char c : text)
   {
      if (startsLine && (c == '.' || c == '\''))
         result += "\\&";
      startsLine = c == '\n';
      if (c == '\\')
         result += "\\e";
      else if (c == '-')
         result += "\\-";
      else
         result += c;
   }
   return result;
}

std::string roffOptions(const std::vector<Option>& options)
{
   std::string page;
   for (const Option& option : options)
   {
      page += ".TP\n";
      if (!option.names.empty())
         page += "\\fB" + roff(joined(option.names, ", ")) + "\\fR";
      if (!option.value.empty())
         page += (option.names.empty() ? "\\fI" : " \\fI") + roff(option.value) + "\\fR";
      page += '\n' + roff(option.description);
      if (!option.choices.empty())
         page += " (" + roff(joined(option.choices, ", ")) + ')';
      if (!option.defaultValue.empty())
         page += " [default: " + roff(option.defaultValue) + ']';
      if (option.isRequired && !option.names.empty())
         page += " [required]";
      page += '\n';
   }
   return page;
}

std::string manualPage(const Program& program)
{
   const Command& itself = program.itself;
   std::string name = itself.description;
   name[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[0])));
   name.erase(name.find_last_not_of('.') + 1);
   std::string page = ".TH ZQSIM 1 \"\" \"zqManipulator " ZQSIM_VERSION
                      "\" \"User Commands\"\n.SH NAME\nzqsim \\- " +
                      roff(name) + "\n.SH SYNOPSIS\n";
   const char* lineEnd = "";
   for (const Command& command : program.commands)
   {
      page += lineEnd;
      page += "\\fBzqsim " + roff(command.name) + "\\fR [\\fIoptions\\fR]";
      for (const Option& positional : command.positionals)
         page += (positional.isRequired ? " \\fI" : " [\\fI") + roff(positional.value) +
                 (positional.isRequired ? "\\fR" : "\\fR]");
      page += '\n';
      lineEnd = ".br\n";
   }
   page += ".SH OPTIONS\n" + roffOptions(itself.options) + ".SH COMMANDS\n";
   for (const Command& command : program.commands)
   {
      page += ".SS " + roff(command.name) + '\n' + roff(command.description) + ".\n" +
              roffOptions(command.positionals) + roffOptions(command.options);
      if (!command.footer.empty())
         page += ".PP\n" + roff(command.footer) + '\n';
   }
   page += ".SH EXIT STATUS AND FILES\n" + roff(itself.footer) + '\n';
   return page;
}

// Completions

std::string bashCompletion(const Program& program)
{
   std::vector<std::string> names;
   std::string values;
   std::string options;
   const auto add = [&](const Command& command, const std::string& name)
   {
      std::string all;
      for (const Option& option : command.options)
      {
         all += ' ' + joined(option.names, " ");
         if (option.value.empty())
            continue;
         values += "      " + name + ":" + joined(option.names, "|" + name + ":") + ")";
         if (option.takesFile())
            values += " _zqsimFiles;";
         else if (!option.choices.empty())
            values += " _zqsimWords \"" + joined(option.choices, " ") + "\";";
         values += " return ;;\n";
      }
      options += "      '" + name + "') _zqsimWords \"" + all.substr(1) + "\" ;;\n";
   };
   add(program.itself, "");
   for (const Command& command : program.commands)
   {
      names.push_back(command.name);
      add(command, command.name);
   }
   return "# Completion of zqsim for bash\n\n"
          "_zqsimFiles() {\n"
          "   compopt -o filenames 2>/dev/null\n"
          "   mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
          "}\n\n"
          "_zqsimWords() {\n"
          "   mapfile -t COMPREPLY < <(compgen -W \"$1\" -- \"$current\")\n"
          "}\n\n"
          "_zqsim() {\n"
          "   local current=${COMP_WORDS[COMP_CWORD]} command= word\n"
          "   for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
          "      case $word in\n"
          "      " +
          joined(names, "|") +
          ") command=$word; break ;;\n"
          "      esac\n"
          "   done\n"
          "   case $command:${COMP_WORDS[COMP_CWORD-1]} in\n" +
          values +
          "   esac\n"
          "   if [[ $current == -* ]]; then\n"
          "      case $command in\n" +
          options +
          "      esac\n"
          "   elif [[ -z $command ]]; then\n"
          "      _zqsimWords \"" +
          joined(names, " ") +
          "\"\n"
          "   else\n"
          "      _zqsimFiles\n"
          "   fi\n"
          "}\n\n"
          "complete -F _zqsim zqsim\n";
}

/// In single quotes.
std::string inQuotes(const std::string& text)
{
   std::string result = "'";
   for (const char c : text)
      c == '\'' ? result += "'\\''" : result += c;
   return result + '\'';
}

std::string zshArguments(const Command& command)
{
   std::string text = "_arguments";
   for (const Option& option : command.options)
   {
      std::string value;
      if (!option.value.empty())
         value = ":" + option.value + ":";
      if (option.takesFile())
         value += "_files";
      else if (!option.choices.empty())
         value += '(' + joined(option.choices, " ") + ')';
      const std::string description = escaped(shortText(option.description), "[]\\:", "\\");
      const std::string allNames = joined(option.names, " ");
      for (const std::string& name : option.names)
         text += " \\\n         " +
                 inQuotes("(" + allNames + ")" + name + "[" + description + "]" + value);
   }
   for (const Option& positional : command.positionals)
      text += " \\\n         " + inQuotes(":" + positional.value + ":_files");
   return text;
}

std::string zshCompletion(const Program& program)
{
   std::string names;
   std::string arguments;
   for (const Command& command : program.commands)
   {
      names += "\n      " +
               inQuotes(command.name + ":" + escaped(shortText(command.description), "\\:", "\\"));
      arguments +=
         "      " + command.name + ")\n         " + zshArguments(command) + "\n         ;;\n";
   }
   return "#compdef zqsim\n\n"
          "_zqsim() {\n"
          "   local curcontext=\"$curcontext\" state line\n"
          "   local -a commands=(" +
          names + "\n   )\n   " + zshArguments(program.itself) +
          " \\\n         '1:command:->command' '*::argument:->argument'\n"
          "   case $state in\n"
          "   command) _describe command commands ;;\n"
          "   argument)\n"
          "      case $words[1] in\n" +
          arguments +
          "      esac\n"
          "      ;;\n"
          "   esac\n"
          "}\n\n"
          "_zqsim \"$@\"\n";
}

std::string fishCompletion(const Program& program)
{
   std::string text = "# Completion of zqsim for fish\n\ncomplete -c zqsim -f\n";
   const auto add = [&](const Command& command, const std::string& condition)
   {
      const std::string start = "complete -c zqsim -n " + inQuotes(condition);
      for (const Option& option : command.options)
      {
         text += start;
         for (const std::string& name : option.names)
            text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
         if (option.takesFile())
            text += " -r -F";
         else if (!option.value.empty())
            text += " -x";
         if (!option.choices.empty())
            text += " -a " + inQuotes(joined(option.choices, " "));
         text += " -d " + inQuotes(shortText(option.description)) + '\n';
      }
      if (!command.positionals.empty())
         text += start + " -F\n";
   };
   add(program.itself, "__fish_use_subcommand");
   for (const Command& command : program.commands)
   {
      text += "complete -c zqsim -n __fish_use_subcommand -a " + command.name + " -d " +
              inQuotes(shortText(command.description)) + '\n';
      add(command, "__fish_seen_subcommand_from " + command.name);
   }
   return text;
}
} // namespace

zqsim::Run zqsim::generate(CLI::App& arguments)
{
   struct Options
   {
      std::string kind;
      std::string out = "-";
   };
   const auto options = std::make_shared<Options>();
   arguments.group("");
   arguments.add_option("KIND", options->kind, "What to make")
      ->required()
      ->check(CLI::IsMember({"man", "bash", "zsh", "fish"}));
   arguments.add_option("FILE", options->out, "Where to write it")->type_name("FILE");
   return [options, &arguments]
   {
      const Program program = describeProgram(*arguments.get_parent());
      OutputFile file(options->out);
      file.write(options->kind == "man"    ? manualPage(program)
                 : options->kind == "bash" ? bashCompletion(program)
                 : options->kind == "zsh"  ? zshCompletion(program)
                                           : fishCompletion(program));
      file.close();
      return Done;
   };
}
