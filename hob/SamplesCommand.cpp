#include "GlassHobCore/shader/SampleShelf.h"
#include "hob/Commands.h"

#include <algorithm>

namespace hob {

namespace {

using glasshob::SampleShelf::Sample;

constexpr Option options[] = {
    {"--print", "", "NAME", "print the text of the sample with this title or file name"},
};

std::string list(const std::vector<Sample>& samples) {
    std::size_t fileWidth = 0, titleWidth = 0;
    for (const Sample& sample : samples) {
        fileWidth = std::max(fileWidth, sample.file.size());
        titleWidth = std::max(titleWidth, sample.title.size());
    }
    std::string lines;
    for (const Sample& sample : samples) {
        lines += sample.file + std::string(fileWidth - sample.file.size() + 2, ' ') + sample.title +
                 std::string(titleWidth - sample.title.size() + 2, ' ') + std::string(rawValue(sample.kind)) +
                 (sample.hasSound ? ", with sound" : "") + '\n';
    }
    return lines;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    const std::vector<Sample> samples = glasshob::SampleShelf::all();
    if (samples.empty()) {
        console.problem("The samples are missing: they belong beside the program, in share/glasshob/Shaders.");
        return ExitStatus::failed;
    }
    const auto name = arguments.value("--print");
    if (!name) {
        console.write(list(samples));
        return ExitStatus::done;
    }
    const auto found = std::ranges::find_if(
        samples, [&](const Sample& sample) { return sample.title == *name || sample.file == *name; });
    if (found == samples.end()) {
        console.problem("There is no sample " + *name + ": hob samples lists them.");
        return ExitStatus::wrongUsage;
    }
    console.write(found->text);
    return ExitStatus::done;
}

} // namespace

const Command& samplesCommand() {
    static constexpr Command command = {
        .name = "samples",
        .summary = "List the shaders that come with the program",
        .usage = "[--print NAME]",
        .notes =
            "Each line tells the file, the title and the kind. hob samples --print \"Blue Hour\" > mine.metal makes a\n"
            "copy to work on.\n",
        .operands = Operands::none,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
