#include "GPU/Device.h"
#include "GlassHobCore/site/OnCancel.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/AccountModel.h"
#include "GlassHobOnline/KeychainTokenStore.h"
#include "GlassHobOnline/ShareModel.h"
#include "hob/Commands.h"
#include "hob/ExportProgress.h"
#include "hob/Interrupts.h"
#include "hob/SiteOption.h"
#include "hob/Source.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

namespace hob {

namespace {

using glasshob::ShareModel;
using glasshob::ShareUpload;

constexpr std::array options = {
    Option{"--title", "", "TEXT", "what the gallery calls it, 1 to 80 characters"},
    Option{"--description", "", "TEXT", "at most 500 characters"},
    Option{"--licence", "", "NAME", "cc-by-nc-sa-4.0, cc-by-4.0, mit or arr (cc-by-nc-sa-4.0)"},
    Option{"--visibility", "", "NAME", "public, unlisted or private (public)"},
    Option{"--json", "", "", "print the address as an object: url"},
    siteOption,
};

// What is told of the shader.
struct Told {
    std::string title, description;
    ShareUpload::Licence licence = ShareUpload::Licence::ccByNcSa;
    ShareUpload::Visibility visibility = ShareUpload::Visibility::public_;
};

// One of a few names, as the gallery has them.
template <class Value, std::size_t count>
std::expected<Value, std::string> readName(const Arguments& arguments, std::string_view option,
                                           const Value (&known)[count], Value usual) {
    const auto word = arguments.value(option);
    if (!word) return usual;
    const auto found = std::ranges::find_if(known, [&](Value each) { return rawValue(each) == *word; });
    if (found != std::end(known)) return *found;
    std::string names;
    for (const Value& each : known)
        names += (names.empty() ? "" : &each == &known[count - 1] ? " or " : ", ") + std::string(rawValue(each));
    return mistake("The option " + std::string(option) + " takes " + names + ", not " + *word + ".");
}

std::expected<Told, std::string> readTold(const Arguments& arguments) {
    Told told;
    if (!arguments.has("--title")) return mistake("The gallery needs a title: hob share FILE --title TEXT.");
    told.title = *arguments.value("--title");
    told.description = arguments.value("--description").value_or("");
    const auto licence = readName(arguments, "--licence", ShareUpload::licences, told.licence);
    if (!licence) return std::unexpected(licence.error());
    told.licence = *licence;
    const auto visibility = readName(arguments, "--visibility", ShareUpload::visibilities, told.visibility);
    if (!visibility) return std::unexpected(visibility.error());
    told.visibility = *visibility;
    ShareUpload texts;
    texts.title = told.title;
    texts.description = told.description;
    if (const auto problems = texts.problemsOfTexts(); !problems.empty()) return mistake(problems.front());
    return told;
}

// Ten times a second at most.
class ShareProgress {
  public:
    explicit ShareProgress(Console& console) : console_(console) {}
    void tell(const ShareModel::Phase& phase) {
        if (const auto* rendering = std::get_if<ShareModel::Rendering>(&phase))
            tell("rendering the loop and thumbnail", rendering->progress);
        else if (const auto* uploading = std::get_if<ShareModel::Uploading>(&phase))
            tell("uploading", uploading->progress);
    }

  private:
    void tell(const std::string& step, double done) {
        const auto now = std::chrono::steady_clock::now();
        if (done > 0 && done < 1 && now - last_ < std::chrono::milliseconds(100)) return;
        last_ = now;
        console_.progress(progressBar(done) + " " + std::to_string(int(done * 100)) + "%, " + step);
    }

    Console& console_;
    std::chrono::steady_clock::time_point last_;
};

// What the end of it says; the exit status.
struct Ending {
    Console& console;
    bool tellsJson;

    ExitStatus operator()(const ShareModel::Done& done) const {
        const std::string url = done.url.toString(QUrl::FullyEncoded).toStdString();
        if (tellsJson)
            console.write(QJsonDocument(QJsonObject{{"url", glasshob::asQString(url)}})
                              .toJson(QJsonDocument::Compact)
                              .toStdString() +
                          "\n");
        else
            console.write(url + "\n");
        return ExitStatus::done;
    }
    ExitStatus operator()(const ShareModel::NeedsSignIn& needs) const {
        return fail(forTerminal(needs.message.toStdString()) + " Use hob sign-in.");
    }
    ExitStatus operator()(const ShareModel::NeedsHandle& needs) const {
        return fail(forTerminal(needs.message.toStdString()) + " Use hob handle NAME.");
    }
    ExitStatus operator()(const ShareModel::Failed& failed) const {
        return fail(forTerminal(failed.message.toStdString()));
    }
    ExitStatus operator()(const ShareModel::Editing& cancelled) const {
        return fail(cancelled.notice.isEmpty() ? "Sharing cancelled."
                                               : "Sharing cancelled. " + cancelled.notice.toStdString());
    }
    ExitStatus operator()(const auto&) const { return ExitStatus::failed; }

    ExitStatus fail(const std::string& sentence) const {
        console.problem(sentence);
        return ExitStatus::failed;
    }
};

ExitStatus work(const Told& told, const Source& source, const std::shared_ptr<gpu::Device>& device,
                glasshob::AccountModel& account, bool tellsJson, Console& console) {
    // Joined last: the driver must not be unloaded under what is still at work.
    std::vector<std::jthread> threads;
    const Interrupts interrupts("Sharing cancelled.");
    ShareModel share(account, {.source = source.text, .key = {}, .fileName = source.name},
                     {.device = [&] { return device; },
                      .render = {},
                      .beside = [&](std::function<void()> rendering) { threads.emplace_back(std::move(rendering)); }});
    share.title = glasshob::asQString(told.title);
    share.description = glasshob::asQString(told.description);
    share.licence = told.licence;
    share.visibility = told.visibility;
    ShareProgress progress(console);
    QEventLoop loop;
    QObject::connect(&share, &ShareModel::changed, &loop, [&] {
        progress.tell(share.phase());
        if (!share.isWorking()) loop.quit();
    });
    const glasshob::OnCancel onCancel(interrupts.token(), &share, [&] {
        share.cancel();
        loop.quit();
    });
    QMetaObject::invokeMethod(&share, &ShareModel::share, Qt::QueuedConnection);
    loop.exec();
    threads.clear();
    console.endProgress();
    return std::visit(Ending{console, tellsJson}, share.phase());
}

ExitStatus run(const Arguments& arguments, Console& console) {
    const auto told = readTold(arguments);
    if (!told) {
        console.problem(told.error());
        return ExitStatus::wrongUsage;
    }
    Online online;
    const auto site = siteOf(arguments, console);
    if (!site) return ExitStatus::wrongUsage;
    const auto source = readSource(console, arguments.operands().front());
    if (!source) return ExitStatus::failed;
    if (const auto compiled = compileSource(*source); !compiled) {
        tellCompileError(console, *source, compiled.error());
        return ExitStatus::failed;
    }
    const auto opened = openProgram(console, *source);
    if (!opened) return ExitStatus::failed;
    glasshob::KeychainTokenStore tokens;
    glasshob::AccountModel account(*site, online.session(), tokens);
    return work(*told, *source, opened->device, account, arguments.has("--json"), console);
}

} // namespace

const Command& shareCommand() {
    static constexpr Command command = {
        .name = "share",
        .summary = "Share a shader to the gallery",
        .usage = "FILE --title TEXT [OPTIONS]",
        .notes =
            "Renders a loop of 8 seconds (1280x720) and a thumbnail (1200x675) with the sliders at their declared\n"
            "defaults, from the time of the // @still line or from 0 s, checks everything, and uploads them with the\n"
            "source. Prints the address of the shader's page. Needs hob sign-in first, and once hob handle.\n"
            "Ctrl-C cancels.\n",
        .operands = Operands::one,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
