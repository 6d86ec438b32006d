#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// The command line as commands describe it. The library that reads it stays behind these handles:
// it is all headers, and each file that sees them compiles for seconds longer. What a handle stands
// for lives as long as the application.
namespace vexahost {

class Option {
 public:
  explicit Option(CLI::Option& option) : option_(&option) {}

  Option& required();
  // The help names the value that the variable has now.
  Option& showsDefault();
  Option& between(int least, int most);
  Option& oneOf(const std::vector<std::string>& words);
  Option& oneOf(const std::vector<int>& numbers);
  Option& excludes(const Option& other);

 private:
  CLI::Option* option_;
};

class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  // One below this.
  Command command(const std::string& name, const std::string& help);
  // `value`: of a type that command.cpp names; a vector takes any number of values. It receives
  // what was given before the command runs. A name without "-" is that of an operand.
  template <class T>
  Option option(const std::string& name, T& value, const std::string& help);
  Option flag(const std::string& name, bool& value, const std::string& help);
  // Of the options of the group, so many have to be given.
  Command group(const std::string& name, size_t least, size_t most);

  // One of the commands below has to be given.
  void needsCommand();
  void setFooter(const std::string& text);
  void onRun(const std::function<void()>& work);

 private:
  CLI::App* app_;
};

}  // namespace vexahost
