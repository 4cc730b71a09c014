#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using Json = nlohmann::json;

struct Result
{
   int code;
   std::string out;
   std::string err;
};

inline std::string contentOf(const std::string& fileName)
{
   std::ifstream file(fileName, std::ios::binary);
   return std::move(std::ostringstream() << file.rdbuf()).str();
}

inline std::string model(const std::string& name)
{
   return PROJECT "examples/models/" + name + ".xml";
}

/// A table of numbers, by column.
using Columns = std::map<std::string, std::vector<double>>;

inline Columns readCsv(const std::string& fileName)
{
   std::istringstream file(contentOf(fileName));
   std::string line;
   std::string field;
   std::getline(file, line);
   std::vector<std::string> names;
   for (std::istringstream head(line); std::getline(head, field, ',');)
      names.push_back(field);
   Columns columns;
   while (std::getline(file, line))
   {
      std::size_t i = 0;
      for (std::istringstream row(line); std::getline(row, field, ','); ++i)
      {
         double number = NAN;
         const auto end = std::from_chars(field.data(), field.data() + field.size(), number);
         EXPECT_TRUE(end.ptr == field.data() + field.size() && std::isfinite(number)) << line;
         columns[names.at(i)].push_back(number);
      }
      EXPECT_EQ(i, names.size()) << line;
   }
   return columns;
}

struct Change
{
   std::string from, to;
};

/// Runs zqsim, with a directory for what it reads and writes.
class Zqsim : public ::testing::Test
{
protected:
   Zqsim() : m_directory(std::filesystem::temp_directory_path() / "zqsimTestXXXXXX")
   {
      if (mkdtemp(m_directory.data()) == nullptr)
         ADD_FAILURE() << "no directory " << m_directory;
   }
   ~Zqsim() override { std::filesystem::remove_all(m_directory); }

   std::string scratch(const std::string& name) const { return m_directory + "/" + name; }

   /// The command in front may run zqsim in a way of its own.
   Result run(const std::string& arguments, const std::string& front = {}) const
   {
      const std::string errors = scratch("errors");
      const std::string command =
         "cd " PROJECT " && " + front + " " ZQSIM " " + arguments + " 2>" + errors;
      FILE* pipe = popen(command.c_str(), "r");
      Result result{};
      std::array<char, 4096> block{};
      while (const auto count = std::fread(block.data(), 1, block.size(), pipe))
         result.out.append(block.data(), count);
      const int status = pclose(pipe);
      result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      result.err = contentOf(errors);
      return result;
   }
   Json runForJson(const std::string& arguments, int code = 0) const
   {
      const Result result = run(arguments + " --json");
      EXPECT_EQ(result.code, code) << arguments << '\n' << result.err;
      const Json data = Json::parse(result.out);
      EXPECT_EQ(data.at("formatVersion"), 1) << arguments;
      return data;
   }

   /// A model in which the first occurrence of each text is replaced.
   std::string changed(const std::string& name, const std::vector<Change>& changes) const
   {
      std::string document = contentOf(model(name));
      for (const auto& [from, to] : changes)
      {
         const auto place = document.find(from);
         EXPECT_NE(place, std::string::npos) << from;
         if (place != std::string::npos)
            document.replace(place, from.size(), to);
      }
      const std::string fileName = scratch("changed.xml");
      std::ofstream(fileName) << document;
      return fileName;
   }

private:
   std::string m_directory;
};
