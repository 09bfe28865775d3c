#include "GlassHob/model/VariationPicker.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHobRender/episode/EpisodePlan.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>
#include <set>
#include <utility>

namespace glasshob {

namespace {

constexpr double redrawDelay = 0.3; // seconds
// Stills of tiles that are far from what is seen are let go of.
constexpr std::size_t mostStills = 600;

bool hasVaried(const std::vector<ParamDecl>& params) {
    return std::ranges::any_of(params,
                               [](const ParamDecl& param) { return !Variations::excluded().contains(param.name); });
}

} // namespace

VariationPicker::VariationPicker(AppModel& model, std::unique_ptr<Delay> amountDelay)
    : model_(model), amountDelay_(std::move(amountDelay)) {
    connect(&model_.document(), &Document::replaced, this, &VariationPicker::followDocument);
    connect(&model_, &AppModel::documentChanged, this, [this] {
        if (model_.presetKey() != key_) key_ = model_.presetKey(); // saved under another name
        judge();
    });
    connect(&model_.document(), &Document::textLoaded, this, &VariationPicker::followText);
    connect(&model_.document(), &Document::edited, this, &VariationPicker::followText);
    connect(&model_, &AppModel::compiled, this, &VariationPicker::followProgram);
    connect(&model_, &AppModel::preparingChanged, this, &VariationPicker::followProgram);
    // Of the others the variations have values of their own.
    connect(&model_, &AppModel::valueChanged, this, [this](const QString& name) {
        if (Variations::excluded().contains(name.toStdString()))
            amountDelay_->start(redrawDelay, [this] { followProgram(); });
    });
    connect(&model_, &AppModel::valuesReset, this, &VariationPicker::followProgram);
    connect(&model_.episodeAmount(), &EpisodeAmount::changed, this,
            [this] { amountDelay_->start(redrawDelay, [this] { followProgram(); }); });
    connect(&stills_, &VariationStills::drawn, this, [this](qint64 index, const QImage& image) {
        Still& still = drawn_[index];
        still = {image, false, false};
        emit stillDrawn(index);
    });
    connect(&stills_, &VariationStills::ran, this, &VariationPicker::ran);
    key_ = model_.presetKey();
    followText();
    followProgram();
}

VariationPicker::~VariationPicker() = default;

// ---- The document ---------------------------------------------------------------------------------------------------

// Its text comes next.
void VariationPicker::followDocument() {
    if (chosen_.list() != headerList_) kept_.insert(key_, chosen_);
    key_ = model_.presetKey();
    amountDelay_->cancel();
    headerList_.clear();
    chosen_ = {};
    count_ = batch;
    scene_ = {};
    variations_.clear();
    drawn_.clear();
    stills_.begin(nullptr, {});
}

void VariationPicker::followText() {
    const std::string& text = model_.currentText();
    meta_ = EpisodeMeta::parse(text);
    // What a person has picked stays; what follows from the header goes on following it.
    const bool follows = chosen_.list() == headerList_;
    headerList_ = meta_.variations;
    const ChosenVariations before = chosen_;
    if (kept_.contains(key_))
        chosen_ = kept_.take(key_);
    else if (follows)
        chosen_ = ChosenVariations(headerList_);
    line_ = VariationsLine::write(text, chosen_.list());
    judge();
    if (chosen_ != before) emit chosenChanged();
}

void VariationPicker::judge() {
    const auto now = [this] {
        if (!EpisodeFolder::hasHeader(model_.currentText())) return State::noHeader;
        if (model_.needsRun()) return State::waitsForRun;
        if (!scene_.program) return State::noProgram;
        return hasVaried(scene_.program->params()) ? State::ready : State::noSliders;
    };
    state_ = now();
    isBehind_ = scene_.program != nullptr && model_.errorText().has_value();
    if (state_ == State::noHeader || state_ == State::waitsForRun) stills_.begin(nullptr, {});
    emit changed();
}

// The program and the text that belong together, as far as they are there.
void VariationPicker::followProgram() {
    amountDelay_->cancel();
    const auto& program = model_.program();
    if (!program || model_.needsRun()) {
        scene_.program.reset(); // which keeps its device
        stills_.begin(nullptr, {});
        judge();
        return;
    }
    const auto made = EpisodeFolder::ofText(model_.displayName().toStdString(), model_.currentText());
    const bool isOfText = made && !model_.errorText() && ParamParser::parse(model_.currentText()) == program->params();
    if (!isOfText && scene_.program) {
        // The last text that has compiled goes on, with the amount as it is now.
        Scene next = scene_;
        next.amount = model_.episodeAmount().value();
        if (next != scene_) {
            scene_ = std::move(next);
            begin();
        }
        judge();
        return;
    }
    if (!isOfText) {
        judge();
        return;
    }
    Scene next{program, *made, {}, model_.episodeAmount().value()};
    for (const auto& [name, value] : model_.values())
        if (Variations::excluded().contains(name)) next.kept.insert_or_assign(name, value);
    if (next == scene_) {
        judge();
        return;
    }
    scene_ = std::move(next);
    begin();
    judge();
}

// Another scene: all is to be drawn anew, and what is there stays in its place until then.
void VariationPicker::begin() {
    std::map<std::int64_t, Variation> before = std::exchange(variations_, {});
    for (auto& [index, still] : drawn_) {
        still.isDue = true;
        const auto known = before.find(index);
        if (known == before.end() || known->second != variation(index)) still.isStale = true;
    }
    stills_.begin(nullptr, {});
    if (!pictureSize_.isEmpty()) stills_.begin(scene_.program, pictureSize_);
    wish();
    if (running_) stills_.run(wishOf(*running_));
}

// ---- What there is --------------------------------------------------------------------------------------------------

void VariationPicker::more() {
    count_ += batch;
    emit changed();
}

const Variation& VariationPicker::variation(std::int64_t index) const {
    if (const auto known = variations_.find(index); known != variations_.end()) return known->second;
    // The tiles all at once: each call reads the text.
    const bool isTile = index >= 1 && index <= count_;
    const std::int64_t first = isTile ? (index - 1) / batch * batch + 1 : index;
    if (scene_.program)
        for (Variation& made : EpisodePlan::variations(scene_.episode, first, isTile ? batch : 1, scene_.amount))
            variations_.insert_or_assign(made.index, std::move(made));
    else
        variations_[index].index = index;
    return variations_[index];
}

QImage VariationPicker::still(std::int64_t index) const {
    const auto found = drawn_.find(index);
    return found == drawn_.end() ? QImage() : found->second.image;
}

bool VariationPicker::isStale(std::int64_t index) const {
    const auto found = drawn_.find(index);
    return found != drawn_.end() && found->second.isStale;
}

// ---- The pictures ---------------------------------------------------------------------------------------------------

VariationStills::Wish VariationPicker::wishOf(std::int64_t index) const {
    const Variation& wanted = variation(index);
    SliderValues values = wanted.values;
    values.insert(scene_.kept.begin(), scene_.kept.end());
    return {index, std::move(values), wanted.start};
}

void VariationPicker::setPictureSize(const QSize& pixels) {
    if (pixels == pictureSize_) return;
    pictureSize_ = pixels;
    for (auto& [index, still] : drawn_)
        still.isDue = true;
    if (!scene_.program) return;
    stills_.begin(scene_.program, pictureSize_);
    wish();
    if (running_) stills_.run(wishOf(*running_));
}

void VariationPicker::setWanted(std::vector<std::int64_t> indices) {
    wanted_ = std::move(indices);
    if (drawn_.size() > mostStills)
        std::erase_if(drawn_,
                      [near = std::set(wanted_.begin(),
                                       wanted_.begin() + std::ptrdiff_t(std::min(wanted_.size(), mostStills / 2)))](
                          const auto& entry) { return !near.contains(entry.first); });
    wish();
}

void VariationPicker::wish() {
    if (!scene_.program || !hasVaried(scene_.program->params())) return;
    std::vector<VariationStills::Wish> wishes;
    std::set<std::int64_t> told;
    for (const std::int64_t index : wanted_) {
        const auto found = drawn_.find(index);
        const bool isThere = found != drawn_.end() && !found->second.isDue;
        if (!isThere && told.insert(index).second) wishes.push_back(wishOf(index));
    }
    stills_.want(std::move(wishes));
}

void VariationPicker::setRunning(std::optional<std::int64_t> index) {
    running_ = index;
    if (!scene_.program) return;
    stills_.run(index ? std::optional(wishOf(*index)) : std::nullopt);
}

// ---- What is picked -------------------------------------------------------------------------------------------------

void VariationPicker::setChosen(ChosenVariations chosen) {
    if (chosen == chosen_) return;
    chosen_ = std::move(chosen);
    line_ = VariationsLine::write(model_.currentText(), chosen_.list());
    emit chosenChanged();
}

} // namespace glasshob
