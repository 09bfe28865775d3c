#include "hob/Output.h"

#include "GlassHobCore/files/AtomicFile.h"

#include <cstdio>
#include <sys/stat.h>

namespace hob {

namespace {

bool isSameFile(const std::string& a, const std::string& b) {
    struct stat statusA = {};
    struct stat statusB = {};
    return stat(a.c_str(), &statusA) == 0 && stat(b.c_str(), &statusB) == 0 && S_ISREG(statusA.st_mode) &&
           statusA.st_dev == statusB.st_dev && statusA.st_ino == statusB.st_ino;
}

} // namespace

bool checkOutput(Console& console, const std::string& output, const std::string& source, std::string_view role) {
    if (output == "-") {
        if (!console.outputIsTerminal()) return true;
        console.problem(
            "The result is no text, and standard output is a terminal: give a file, or send it on with a pipe.");
        return false;
    }
    if (isSameFile(output, source)) {
        console.problem(output + " is " + std::string(role) + ": give another file for the result.");
        return false;
    }
    const auto checked = glasshob::AtomicFile::check(output);
    if (!checked) console.problem(checked.error());
    return checked.has_value();
}

bool checkPlace(Console& console, const std::string& output, bool replaces) {
    struct stat status = {};
    if (output == "-" || replaces || stat(output.c_str(), &status) != 0) return true;
    console.problem(output + " is there already: add --force to replace it.");
    return false;
}

bool writeOutput(Console& console, const std::string& output, std::string_view bytes, bool replaces) {
    if (output == "-") {
        console.write(bytes);
        return !console.outputFailed();
    }
    if (replaces) {
        const auto written = glasshob::AtomicFile::write(output, bytes);
        if (!written) console.problem(written.error());
        return written.has_value();
    }
    auto file = openOutput(console, output, replaces);
    if (!file) return false;
    if (auto written = glasshob::AtomicFile::write(file->path(), bytes); !written) {
        std::string sentence = std::move(written.error());
        if (sentence.starts_with(file->path())) sentence.replace(0, file->path().size(), output);
        console.problem(sentence);
        return false;
    }
    return finishOutput(console, *file, output, replaces) == ExitStatus::done;
}

std::optional<glasshob::PartialFile> openOutput(Console& console, const std::string& output, bool replaces) {
    if (!checkPlace(console, output, replaces)) return {};
    auto file = glasshob::PartialFile::beside(output);
    if (!file) {
        console.problem(file.error());
        return {};
    }
    return std::move(*file);
}

ExitStatus finishOutput(Console& console, glasshob::PartialFile& file, const std::string& output, bool replaces) {
    using Existing = glasshob::PartialFile::Existing;
    const auto target = glasshob::AtomicFile::target(output);
    const auto moved = file.moveIntoPlace(replaces ? Existing::replaced : Existing::kept);
    if (!moved) {
        console.problem(moved.error());
        return ExitStatus::failed;
    }
    if (!target || *moved == *target) return ExitStatus::done;
    console.problem(output + " was made by another program meanwhile and is kept: this result is " + *moved + ".");
    return ExitStatus::failed;
}

std::optional<ChaptersOutput> ChaptersOutput::open(Console& console, const std::string& movie, const std::string& json,
                                                   bool replaces) {
    const std::string place = movie.substr(0, movie.rfind('.')) + ".chapters.json";
    if (!checkPlace(console, place, replaces)) return {};
    auto file = glasshob::PartialFile::written(place, json);
    if (!file) {
        console.problem(file.error());
        return {};
    }
    return ChaptersOutput(std::move(*file));
}

ExitStatus ChaptersOutput::finish(Console& console, glasshob::PartialFile& movie, const std::string& output,
                                  bool replaces) {
    using Existing = glasshob::PartialFile::Existing;
    const auto placed = file_.moveIntoPlace(replaces ? Existing::replaced : Existing::kept);
    if (!placed) {
        console.problem(placed.error());
        return ExitStatus::failed;
    }
    const ExitStatus status = finishOutput(console, movie, output, replaces);
    if (status != ExitStatus::done) std::remove(placed->c_str());
    return status;
}

} // namespace hob
