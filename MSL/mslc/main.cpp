// mslc: the compiler as a command. Reads one Metal Shading Language file, writes SPIR-V, the reflection as JSON, or the
// messages. Exit codes: 0 done, 1 the source or a file is at fault, 2 wrong usage.
#include "MSL/Compiler.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

constexpr std::string_view usage =
    "usage: mslc FILE [-o OUT.spv] [--reflect] [--names]\n"
    "Compiles a Metal Shading Language file to one SPIR-V module for Vulkan 1.3 with every entry point in it.\n"
    "\n"
    "  -o OUT.spv   write the module there (\"-\": standard output); without it the file is only checked\n"
    "  --reflect    print entry points, bindings and struct layouts as JSON on standard output\n"
    "  --names      keep the names of functions and variables in the module\n"
    "  --allow-addresses  take pointers in buffers and other 64-bit addresses\n"
    "  -w           tell no warnings\n"
    "  -Werror      treat warnings as errors\n"
    "  --version    print the version\n"
    "  --help       print this text\n"
    "\n"
    "FILE may be \"-\" for standard input. Messages go to standard error.\n";

enum ExitCode { done = 0, failed = 1, wrongUsage = 2 };

int refuse(const std::string& sentence) {
    std::cerr << "mslc: " << sentence << "\n";
    return wrongUsage;
}

bool readAll(const std::string& path, std::string& text, std::string& problem) {
    if (path == "-") {
        text.assign(std::istreambuf_iterator<char>(std::cin), {});
        return true;
    }
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        problem = "'" + path + "' is a folder. Name a shader file.";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        problem = "'" + path + "' cannot be read: " + std::strerror(errno) + ".";
        return false;
    }
    text.assign(std::istreambuf_iterator<char>(file), {});
    return true;
}

// Written beside the target and then renamed, so that a failure leaves nothing half-written.
bool writeAll(const std::string& path, const std::vector<std::uint32_t>& words, std::string& problem) {
    const auto* bytes = reinterpret_cast<const char*>(words.data());
    const auto size = static_cast<std::streamsize>(words.size() * sizeof words[0]);
    if (path == "-") {
        std::cout.write(bytes, size);
        std::cout.flush();
        if (!std::cout) problem = "Standard output cannot be written.";
        return static_cast<bool>(std::cout);
    }
    // A file is replaced once the new one is complete, through a link too; a device or a pipe is written to as it is.
    std::error_code ignored;
    const auto status = std::filesystem::status(path, ignored);
    const bool isReplaced = !std::filesystem::exists(status) || std::filesystem::is_regular_file(status);
    std::string target = path;
    if (std::filesystem::is_symlink(std::filesystem::symlink_status(path, ignored)))
        target = std::filesystem::weakly_canonical(path, ignored).string();
    const std::string written = isReplaced ? target + "." + std::to_string(getpid()) + ".part" : path;
    std::ofstream file(written, std::ios::binary | std::ios::trunc);
    file.write(bytes, size);
    file.close();
    if (!file || (isReplaced && std::rename(written.c_str(), target.c_str()) != 0)) {
        problem = "'" + path + "' cannot be written: " + std::strerror(errno) + ".";
        if (isReplaced) std::remove(written.c_str());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    std::string input;
    std::string output;
    bool reflects = false;
    msl::CompileOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::cout << usage;
            return done;
        }
        if (argument == "--version") {
            std::cout << "mslc " << msl::version() << "\n";
            return done;
        }
        if (argument == "-o") {
            if (++i == argc) return refuse("-o needs the name of the file to write. Try mslc --help.");
            output = argv[i];
        } else if (argument == "--reflect") {
            reflects = true;
        } else if (argument == "--allow-addresses") {
            options.allowAddresses = true;
        } else if (argument == "-w") {
            options.warnings = msl::CompileOptions::Warnings::ignored;
        } else if (argument == "-Werror") {
            if (options.warnings == msl::CompileOptions::Warnings::reported)
                options.warnings = msl::CompileOptions::Warnings::errors;
        } else if (argument == "--names") {
            options.debugNames = true;
        } else if (argument.size() > 1 && argument[0] == '-') {
            return refuse("There is no option '" + std::string(argument) + "'. Try mslc --help.");
        } else if (!input.empty()) {
            return refuse("mslc compiles one file at a time. Try mslc --help.");
        } else {
            input = argument;
        }
    }
    if (input.empty()) return refuse("Name the file to compile. Try mslc --help.");
    if (reflects && output == "-")
        return refuse("The module and the reflection cannot both go to standard output. Name a file after -o.");

    std::string text;
    std::string problem;
    if (!readAll(input, text, problem)) {
        std::cerr << "mslc: " << problem << "\n";
        return failed;
    }
    options.fileName = input == "-" ? "program_source" : input;
    const auto compiled = msl::compile(text, options);
    if (!compiled) {
        std::cerr << compiled.error().text;
        return failed;
    }
    std::cerr << msl::toText(compiled->warnings);
    if (!output.empty() && compiled->reflection.entryPoints.empty()) {
        std::cerr << "mslc: '" << input
                  << "' has no vertex, fragment or kernel function, so there is no module to write.\n";
        return failed;
    }
    if (reflects) std::cout << msl::toJson(compiled->reflection);
    if (!output.empty() && !writeAll(output, compiled->spirv, problem)) {
        std::cerr << "mslc: " << problem << "\n";
        return failed;
    }
    return done;
}
