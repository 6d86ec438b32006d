#include "cli/manual.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/exit_status.h"

namespace vexahost {
namespace {

constexpr char kPkcs12Topic[] =
    "PKCS#12 files are written with algorithms that every reader knows: RC4 with 128 bits for\n"
    "certificates, triple DES for the key, SHA-1 for the check, 2048 iterations. That is\n"
    "fixed. Today's OpenSSL opens such a file only when it is told to:\n"
    "\n"
    "  openssl pkcs12 -legacy -in FILE -info\n"
    "\n"
    "Reading knows the modern algorithms, too.\n";

using Apps = std::vector<const CLI::App*>;

Apps commandsOf(const CLI::App& app) {
  Apps commands;
  for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!command->get_name().empty()) {
      commands.push_back(command);
    }
  }
  return commands;
}

// The options of a command, those of its option groups included.
std::vector<const CLI::Option*> optionsOf(const CLI::App& app) {
  std::vector<const CLI::Option*> options = app.get_options();
  for (const CLI::App* const group : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (group->get_name().empty()) {
      const auto inner = group->get_options();
      options.insert(options.end(), inner.begin(), inner.end());
    }
  }
  return options;
}

// Each command that can be called, with its whole name: "ca issue".
void collect(const CLI::App& app, const std::string& prefix,
             std::vector<std::pair<std::string, const CLI::App*>>& out) {
  for (const CLI::App* const command : commandsOf(app)) {
    const std::string name = prefix + command->get_name();
    if (commandsOf(*command).empty()) {
      out.emplace_back(name, command);
    }
    collect(*command, name + " ", out);
  }
}

std::string roff(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n')) {
      out += std::string("\\&") + c;
    } else {
      out += c;
    }
  }
  return out;
}

// What an option takes: its words, if there are but a few, as in "TEXT:{server,client}".
std::string valueName(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const std::size_t open = type.find(":{");
  if (open == std::string::npos) {
    return "VALUE";
  }
  std::string words = type.substr(open + 2, type.find('}', open) - open - 2);
  std::replace(words.begin(), words.end(), ',', '|');
  return words;
}

std::string optionName(const CLI::Option& option) {
  const bool isPositional = option.get_positional();
  std::string name = option.get_name(isPositional, !isPositional);
  if (!isPositional && option.get_items_expected_max() > 0) {
    name += " " + valueName(option);
  }
  return name;
}

// --help, which every command has, is described once.
bool isDescribed(const CLI::App& app, const CLI::Option& option) {
  return app.get_parent() == nullptr || !option.check_lname("help");
}

std::string describeOptions(const CLI::App& app) {
  std::string text;
  for (const CLI::Option* const option : optionsOf(app)) {
    if (isDescribed(app, *option)) {
      const std::string initial = option->get_default_str();
      text += ".TP\n.B " + roff(optionName(*option)) + "\n" + roff(option->get_description()) +
              (initial.empty() ? "" : " (" + roff(initial) + ")") + "\n";
    }
  }
  return text;
}

// A line of the completion's table for the command and for each below it: "/" is the program
// itself.
void addCompletionWords(const CLI::App& app, const std::string& name, std::string& out) {
  std::string words;
  for (const CLI::App* const command : commandsOf(app)) {
    words += command->get_name() + " ";
  }
  for (const CLI::Option* const option : optionsOf(app)) {
    for (const std::string& word : option->get_lnames()) {
      words += "--" + word + " ";
    }
  }
  out += "  [\"" + (name.empty() ? "/" : name) + "\"]=\"" + words + "\"\n";
  for (const CLI::App* const command : commandsOf(app)) {
    addCompletionWords(*command, name + (name.empty() ? "" : " ") + command->get_name(), out);
  }
}

std::string upperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
  return text;
}

std::string exitStatusTopic() {
  std::string text;
  for (const ExitStatusEntry& entry : exitStatuses()) {
    text += std::to_string(static_cast<int>(entry.status)) + "  " + entry.meaning + "\n";
  }
  return text;
}

}  // namespace

std::string manualPage(const CLI::App& app, const std::string& version, const std::string& date) {
  std::string page = ".TH " + upperCase(app.get_name()) + " 1 " + date + " \"" + app.get_name() +
                     " " + version + "\"\n.SH NAME\n" + app.get_name() + " \\- " +
                     roff(app.get_description()) + "\n.SH SYNOPSIS\n.B " + app.get_name() +
                     "\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n.SH OPTIONS\n" +
                     describeOptions(app) + ".SH COMMANDS\n";
  std::vector<std::pair<std::string, const CLI::App*>> commands;
  collect(app, "", commands);
  for (const auto& [name, command] : commands) {
    page += ".SS " + roff(name) + "\n" + roff(command->get_description()) + ".\n" +
            describeOptions(*command);
  }
  page += ".SH PKCS#12 FILES\n.nf\n" + roff(kPkcs12Topic) + ".fi\n.SH EXIT STATUS\n";
  for (const ExitStatusEntry& entry : exitStatuses()) {
    page += ".TP\n.B " + std::to_string(static_cast<int>(entry.status)) + "\n" +
            roff(entry.meaning) + "\n";
  }
  return page;
}

std::string bashCompletion(const CLI::App& app) {
  const std::string words = "_" + app.get_name() + "_words";
  std::string text = "declare -A " + words + "=(\n";
  addCompletionWords(app, "", text);
  // The longest known run of words before the cursor says what may follow.
  return text + ")\n_" + app.get_name() +
         "() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} known='' longer i\n"
         "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
         "    longer=${known:+$known }${COMP_WORDS[i]}\n"
         "    [[ -z ${" +
         words +
         "[$longer]+there} ]] || known=$longer\n"
         "  done\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"${" +
         words +
         "[${known:-/}]}\" -- \"$word\"\n"
         "    [[ $word == -* ]] || compgen -f -- \"$word\")\n"
         "}\n"
         "complete -o filenames -F _" +
         app.get_name() + " " + app.get_name() + "\n";
}

std::string helpTopic(const CLI::App& app, const std::vector<std::string>& words) {
  if (words.empty()) {
    // Its own help() would be that of the command in hand, which is "help".
    return app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
  }
  if (words.size() == 1 && words[0] == "exit-status") {
    return exitStatusTopic();
  }
  if (words.size() == 1 && words[0] == "pkcs12") {
    return kPkcs12Topic;
  }
  const CLI::App* found = &app;
  std::string before;  // the names that lead to it
  for (const std::string& word : words) {
    const Apps commands = commandsOf(*found);
    const auto next =
        std::find_if(commands.begin(), commands.end(),
                     [&word](const CLI::App* command) { return command->get_name() == word; });
    if (next == commands.end()) {
      throw HostError("no help on " + word + "; there are the commands, exit-status and pkcs12",
                      ExitStatus::kUsage);
    }
    before += (before.empty() ? "" : " ") + found->get_name();
    found = *next;
  }
  return found->help(before);
}

}  // namespace vexahost
