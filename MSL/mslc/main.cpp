// mslc: the compiler as a command. Reads one Metal Shading Language file, writes SPIR-V, the reflection as JSON, or the
// messages. Exit codes: 0 done, 1 the source or a file is at fault, 2 wrong usage.
#include "MSL/Compiler.h"
#include "MSL/mslc/Files.h"

#include <csignal>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view usage =
    "Usage: mslc FILE [-o OUT.spv] [--reflect] [--names]\n"
    "\n"
    "Compiles a Metal Shading Language file to one SPIR-V module for Vulkan 1.3 with every entry point in it.\n"
    "\n"
    "Options:\n"
    "  -o OUT.spv   write the module there (\"-\": standard output); without it the file is only checked\n"
    "  --reflect    print entry points, bindings and struct layouts as JSON on standard output\n"
    "  --names      keep the names of functions and variables in the module\n"
    "  --allow-addresses\n"
    "               take pointers in buffers and other 64-bit addresses\n"
    "  -w           tell no warnings\n"
    "  -Werror      treat warnings as errors\n"
    "  --version    print the version\n"
    "  --help       print this text\n"
    "\n"
    "FILE may be \"-\" for standard input. Messages go to standard error. A file that is there is replaced once the "
    "new\n"
    "one is whole. The exit status is 0 when the work is done, 1 when it failed, 2 when the command line is wrong.\n";

enum ExitCode { done = 0, failed = 1, wrongUsage = 2 };

struct Request {
    std::string input;
    std::string output;
    bool reflects = false;
    bool wantsHelp = false;
    bool wantsVersion = false;
    msl::CompileOptions options;
};

std::expected<Request, std::string> readArguments(const std::vector<std::string>& words) {
    Request request;
    // Help is given whatever else stands there.
    for (const std::string& word : words) {
        if (word == "--") break;
        if (word == "--help" || word == "-h") request.wantsHelp = true;
    }
    if (request.wantsHelp) return request;
    bool onlyFiles = false;
    bool hasInput = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (onlyFiles || word == "-" || !word.starts_with('-')) {
            if (hasInput)
                return std::unexpected("mslc compiles one file at a time, but " + word + " was given as well.");
            request.input = word;
            hasInput = true;
        } else if (word == "--") {
            onlyFiles = true;
        } else if (word == "-o") {
            if (++i == words.size()) return std::unexpected("The option -o needs a value: -o OUT.spv.");
            request.output = words[i];
            if (request.output.empty()) return std::unexpected("The option -o needs the name of a file.");
            if (request.output == "/dev/stdout") request.output = "-";
        } else if (word == "--reflect") {
            request.reflects = true;
        } else if (word == "--allow-addresses") {
            request.options.allowAddresses = true;
        } else if (word == "-w") {
            request.options.warnings = msl::CompileOptions::Warnings::ignored;
        } else if (word == "-Werror") {
            if (request.options.warnings == msl::CompileOptions::Warnings::reported)
                request.options.warnings = msl::CompileOptions::Warnings::errors;
        } else if (word == "--names") {
            request.options.debugNames = true;
        } else if (word == "--version") {
            request.wantsVersion = true;
        } else {
            return std::unexpected("There is no option " + word + ": mslc --help lists the options.");
        }
    }
    if (request.wantsVersion) return request;
    if (!hasInput) return std::unexpected("No file to compile was given: mslc --help shows how.");
    if (request.reflects && request.output == "-")
        return std::unexpected(
            "The module and the reflection cannot both go to standard output: name a file after -o.");
    return request;
}

int refuse(const std::string& sentence, ExitCode code) {
    mslc::writeError("mslc: " + sentence + "\n");
    return code;
}

int print(std::string_view bytes) {
    if (mslc::writeOutput(bytes)) return done;
    return refuse("Standard output could not be written: its disk may be full, or its reader has gone.", failed);
}

int compileFile(const Request& request) {
    auto source = mslc::readSource(request.input);
    if (!source) return refuse(source.error(), failed);
    if ((request.reflects || request.output == "-") && mslc::isStandardOutput(*source))
        return refuse("Standard output is the source itself: give another file for the result.", failed);
    if (!request.output.empty())
        if (const auto checked = mslc::checkOutput(request.output, *source); !checked)
            return refuse(checked.error(), failed);

    msl::CompileOptions options = request.options;
    if (request.input != "-") options.fileName = request.input;
    const auto compiled = msl::compile(source->text, options);
    if (!compiled) {
        mslc::writeError(compiled.error().text);
        return failed;
    }
    mslc::writeError(msl::toText(compiled->warnings));
    if (!request.output.empty() && compiled->reflection.entryPoints.empty())
        return refuse(source->name + " has no vertex, fragment or kernel function, so there is no module to write.",
                      failed);
    if (request.reflects)
        if (const int code = print(msl::toJson(compiled->reflection)); code != done) return code;
    if (request.output.empty()) return done;
    const std::string_view bytes(reinterpret_cast<const char*>(compiled->spirv.data()),
                                 compiled->spirv.size() * sizeof compiled->spirv[0]);
    if (request.output == "-") return print(bytes);
    if (const auto written = mslc::writeFile(request.output, bytes); !written) return refuse(written.error(), failed);
    return done;
}

} // namespace

int main(int count, char** words) {
    // A reader that goes away, or a file that may not grow any more, is a failed write and not the end of the program.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    if (count <= 1) {
        mslc::writeError(usage);
        return wrongUsage;
    }
    const auto request = readArguments(std::vector<std::string>(words + 1, words + count));
    if (!request) return refuse(request.error(), wrongUsage);
    if (request->wantsHelp) return print(usage);
    if (request->wantsVersion) return print("mslc " + std::string(msl::version()) + "\n");
    return compileFile(*request);
}
