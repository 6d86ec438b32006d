#include "cli/command.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>

namespace vexahost {

Option& Option::required() {
  option_->required();
  return *this;
}

Option& Option::showsDefault() {
  option_->capture_default_str();
  return *this;
}

Option& Option::between(int least, int most) {
  option_->check(CLI::Range(least, most));
  return *this;
}

Option& Option::oneOf(const std::vector<std::string>& words) {
  option_->check(CLI::IsMember(words));
  return *this;
}

Option& Option::oneOf(const std::vector<int>& numbers) {
  option_->check(CLI::IsMember(numbers));
  return *this;
}

Option& Option::excludes(const Option& other) {
  option_->excludes(other.option_);
  return *this;
}

Command Command::command(const std::string& name, const std::string& help) {
  return Command(*app_->add_subcommand(name, help));
}

template <class T>
Option Command::option(const std::string& name, T& value, const std::string& help) {
  return Option(*app_->add_option(name, value, help));
}

template Option Command::option(const std::string&, std::string&, const std::string&);
template Option Command::option(const std::string&, std::vector<std::string>&, const std::string&);
template Option Command::option(const std::string&, uint16_t&, const std::string&);
template Option Command::option(const std::string&, uint32_t&, const std::string&);
template Option Command::option(const std::string&, std::optional<uint32_t>&, const std::string&);

Option Command::flag(const std::string& name, bool& value, const std::string& help) {
  return Option(*app_->add_flag(name, value, help));
}

Command Command::group(const std::string& name, size_t least, size_t most) {
  CLI::App* const group = app_->add_option_group(name);
  group->require_option(least, most);
  return Command(*group);
}

void Command::needsCommand() { app_->require_subcommand(1); }

void Command::setFooter(const std::string& text) { app_->footer(text); }

void Command::onRun(const std::function<void()>& work) { app_->callback(work); }

}  // namespace vexahost
