#include "hob/Hob.h"

#include "GlassHobCore/Identity.h"
#include "hob/Commands.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

namespace hob {

namespace {

using glasshob::Identity::applicationName;

const auto& commands() {
    static const std::array all = {&checkCommand(),  &infoCommand(),    &stillCommand(),   &soundCommand(),
                                   &exportCommand(), &episodeCommand(), &joinCommand(),    &fetchCommand(),
                                   &shareCommand(),  &signInCommand(),  &signOutCommand(), &accountCommand(),
                                   &handleCommand(), &samplesCommand(), &devicesCommand(), &updateCommand()};
    return all;
}

std::string padded(std::string_view text, std::size_t width) {
    return std::string(text) + std::string(text.size() < width ? width - text.size() : 1, ' ');
}

std::string generalHelp() {
    std::string text = "Usage: hob COMMAND [OPTIONS]\n\n" + std::string(applicationName) +
                       " without a window: checks shaders, draws them, renders their sound, makes movies and tutorial "
                       "episodes of them, and speaks to the gallery.\n\nCommands:\n";
    for (const Command* command : commands()) {
        text += "  " + padded(command->name, 10) + std::string(command->summary) + '\n';
    }
    text += "\nhob COMMAND --help tells more about one command; hob --version prints the version.\n"
            "The exit status is 0 when the work is done, 1 when it failed, 2 when the command line is wrong.\n";
    return text;
}

std::string commandHelp(const Command& command) {
    std::string text = "Usage: hob " + std::string(command.name);
    if (!command.usage.empty()) text += " " + std::string(command.usage);
    text += "\n\n" + std::string(command.summary) + ".\n\n";
    if (!command.options.empty()) text += "Options:\n";
    for (const Option& option : command.options) {
        std::string form = option.shortName.empty() ? std::string() : std::string(option.shortName) + ", ";
        form += option.name;
        if (!option.value.empty()) form += " " + std::string(option.value);
        text += "  " + padded(form, 24) + std::string(option.help) + '\n';
    }
    if (!command.options.empty()) text += '\n';
    return text + std::string(command.notes);
}

std::string unknownCommand(const std::string& word) {
    std::vector<std::string_view> names;
    std::ranges::transform(commands(), std::back_inserter(names), &Command::name);
    const bool isOption = word.starts_with('-');
    const std::string sentence = std::string("There is no ") + (isOption ? "option " : "command ") + word;
    const std::string_view near = closest(word, names);
    if (!near.empty()) return sentence + ": did you mean hob " + std::string(near) + "?";
    return sentence + ": hob --help lists the commands.";
}

ExitStatus runCommand(const Command& command, std::span<const std::string> words, Console& console) {
    const auto arguments =
        Arguments::parse("hob " + std::string(command.name), command.options, command.operands, words);
    if (!arguments) {
        console.problem(arguments.error());
        return ExitStatus::wrongUsage;
    }
    if (arguments->wantsHelp()) {
        console.write(commandHelp(command));
        return ExitStatus::done;
    }
    return command.run(*arguments, console);
}

ExitStatus dispatch(std::span<const std::string> words, Console& console) {
    if (words.empty()) {
        console.message(generalHelp());
        return ExitStatus::wrongUsage;
    }
    const std::string& first = words.front();
    if (first == "help" && words.size() == 2) {
        const std::string asked[] = {words[1], "--help"};
        return dispatch(asked, console);
    }
    if (first == "--help" || first == "-h" || first == "help") {
        console.write(generalHelp());
        return ExitStatus::done;
    }
    if (first == "--version") {
        console.write("hob " + std::string(glasshob::Identity::version) + '\n');
        return ExitStatus::done;
    }
    const auto command = std::ranges::find(commands(), first, [](const Command* each) { return each->name; });
    if (command == commands().end()) {
        console.problem(unknownCommand(first));
        return ExitStatus::wrongUsage;
    }
    return runCommand(**command, words.subspan(1), console);
}

} // namespace

ExitStatus run(std::span<const std::string> words, Console& console) {
    const ExitStatus status = dispatch(words, console);
    if (!console.outputFailed()) return status;
    console.problem("Standard output could not be written: its disk may be full, or its reader has gone.");
    return ExitStatus::failed;
}

} // namespace hob
