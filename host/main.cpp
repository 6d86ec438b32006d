#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>

#include "cli/console.h"
#include "cli/exit_status.h"
#include "cli/manual.h"
#include "options.h"
#include "version.h"

namespace vexahost {
namespace {

void addHelpCommand(CLI::App& app, Options& options) {
  CLI::App* const command =
      app.add_subcommand("help", "The help of a command, or of exit-status or pkcs12");
  struct Question {
    std::vector<std::string> words;
    bool isMan = false;
    bool isCompletion = false;
  };
  const auto question = std::make_shared<Question>();
  command->add_option("topic", question->words, "Command, such as \"ca issue\", or topic");
  command->add_flag("--man", question->isMan, "All of it as a manual page");
  command->add_flag("--bash-completion", question->isCompletion, "A completion for bash");
  command->callback([&app, &options, question] {
    options.output.raw(question->isMan          ? manualPage(app, kVersion, kReleaseDate)
                       : question->isCompletion ? bashCompletion(app)
                                                : helpTopic(app, question->words));
  });
}

void addGlobalOptions(CLI::App& app, Options& options) {
  app.add_option("--module", options.modulePath, "The module's file (beside this program)");
  app.add_option("--trace", options.module.traceLevel,
                 "Trace to standard error: 1 errors to 5 details")
      ->check(CLI::Range(0, 5));
  app.add_flag_callback(
      "--json", [&options] { options.output.setFormat(Output::Format::kJson); },
      "Answer with one line of JSON");
  app.add_flag_callback(
      "--quiet", [&options] { options.output.setQuiet(true); },
      "Say nothing but answers and errors");
  app.add_flag("--version", options.wantsVersion,
               "Versions of program, module, runtime and libraries");
}

// Behind "help", the names of commands are words like any others: "--" says so to the parser.
std::vector<std::string> separateTopic(std::vector<std::string> arguments) {
  const auto isWord = [](const std::string& text) { return !text.starts_with('-'); };
  auto command = arguments.begin();
  while (command != arguments.end() && !isWord(*command)) {
    const bool hasValue = *command == "--module" || *command == "--trace";
    command += hasValue && arguments.end() - command > 1 ? 2 : 1;
  }
  if (command != arguments.end() && *command == "help") {
    arguments.insert(std::find_if(command + 1, arguments.end(), isWord), "--");
  }
  return arguments;
}

int run(const std::vector<std::string>& arguments) {
  CLI::App app("every service of vexabase from a shell", "vexahost");
  Options options;
  addGlobalOptions(app, options);
  app.fallthrough();
  app.allow_windows_style_options(false);  // what begins with a slash is a file
  app.failure_message([](const CLI::App*, const CLI::Error& error) {
    return std::string("vexahost: ") + error.what() + "\n" +
           "Run with --help for more information.\n";
  });
  for (const auto add :
       {addListsCommand, addServeCommand, addJsonCommand, addUrlCommand, addTimeCommand,
        addScrambleCommand, addProxyCommand, addMonitorCommand, addCertsCommand, addOwnCommand,
        addP12Command, addCaCommand, addCapiCommand}) {
    add(Command(app), options);
  }
  addHelpCommand(app, options);
  app.parse_complete_callback([&options] { options.module.module = pathOf(options.modulePath); });
  try {
    std::vector<std::string> words = separateTopic(arguments);
    std::reverse(words.begin(), words.end());
    app.parse(words);
    if (options.wantsVersion) {
      printVersions(options);
    } else if (app.get_subcommands().empty()) {
      throw CLI::RequiredError("A command");
    }
  } catch (const CLI::ExtrasError& error) {
    const std::vector<std::string> unknown = app.remaining();
    if (app.get_subcommands().empty() && !unknown.empty() && !unknown[0].starts_with('-')) {
      throw HostError("no such command: " + unknown[0] + "; vexahost --help names all",
                      ExitStatus::kUsage);
    }
    app.exit(error);
    return static_cast<int>(ExitStatus::kUsage);
  } catch (const CLI::ParseError& error) {
    if (app.exit(error) != 0) {
      return static_cast<int>(ExitStatus::kUsage);
    }
  }
  options.output.finish();
  return options.exitStatus;
}

}  // namespace
}  // namespace vexahost

int main(int argc, char** argv) {
  const struct Console {
    Console() { vexahost::prepareConsole(); }
    ~Console() { vexahost::restoreConsole(); }
  } console;
  try {
    return vexahost::run(vexahost::commandLine(argc, argv));
  } catch (const vexahost::HostError& error) {
    std::fflush(stdout);
    vexahost::complain(vexahost::visible(error.what()));
    return static_cast<int>(error.status());
  } catch (const std::exception& error) {
    vexahost::complain(error.what());
    return static_cast<int>(vexahost::ExitStatus::kSystem);
  }
}
