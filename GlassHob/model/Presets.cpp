#include "GlassHob/model/Presets.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/Questions.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>

namespace glasshob {

Presets::Presets(AppModel& model, Questions& questions, PresetStore store)
    : model_(model), questions_(questions), store_(std::move(store)), key_(model.presetKey()) {
    connect(&model, &AppModel::documentChanged, this, &Presets::followDocument);
}

void Presets::followDocument() {
    if (model_.presetKey() == key_) return;
    key_ = model_.presetKey();
    announce();
}

void Presets::announce() {
    listing_.reset();
    ++version_;
    emit changed();
}

const Presets::Listing& Presets::listing() const {
    if (!listing_) {
        listing_.emplace();
        listing_->presets = store_.presets(key_);
        std::vector<std::pair<std::u32string, QString>> order;
        for (const auto& [name, values] : listing_->presets)
            order.emplace_back(name.normalized(QString::NormalizationForm_C).toStdU32String(), name);
        std::ranges::sort(order);
        for (const auto& [canonical, name] : order)
            listing_->names << name;
    }
    return *listing_;
}

const QStringList& Presets::names() const {
    return listing().names;
}

std::optional<SliderValues> Presets::values(const QString& name) const {
    const auto& presets = listing().presets;
    const auto same = std::ranges::find_if(presets, [&](const auto& one) { return isSamePresetName(one.first, name); });
    return same == presets.end() ? std::nullopt : std::optional(same->second);
}

bool Presets::canSave() const {
    return model_.program() && !model_.program()->params().empty();
}

namespace {

SliderValues valuesAfterApplying(const SliderValues& preset, const std::vector<ParamDecl>& params) {
    SliderValues values;
    for (const ParamDecl& declaration : params) {
        const auto kept = preset.find(declaration.name);
        values[declaration.name] = kept == preset.end()
                                       ? declaration.defaultValue
                                       : std::min(std::max(kept->second, declaration.min), declaration.max);
    }
    return values;
}

} // namespace

std::optional<QString> Presets::applied() const {
    if (!canSave()) return std::nullopt;
    const auto& params = model_.program()->params();
    for (const QString& name : names())
        if (valuesAfterApplying(listing().presets.at(name), params) == model_.values()) return name;
    return std::nullopt;
}

void Presets::apply(const QString& name) {
    const auto preset = values(name);
    if (preset && canSave()) model_.setValues(valuesAfterApplying(*preset, model_.program()->params()));
}

void Presets::saveAfterQuestion() {
    TextQuestion question;
    question.message = tr("Save these settings as a preset");
    question.informativeText = tr("The slider values are kept for %1, under this name.").arg(model_.displayName());
    question.placeholder = tr("Name");
    question.acceptButton = tr("Save");
    questions_.askText(question, [this, key = key_](const std::optional<QString>& name) {
        // Another document may have been opened while the question was up: its sliders are not meant.
        if (!name || key != key_ || model_.values().empty()) return;
        const QString trimmed = name->trimmed();
        if (has(trimmed))
            replaceAfterQuestion(trimmed);
        else
            save(trimmed, model_.values());
    });
}

void Presets::askToReplace(const QString& name, const QString& informativeText, std::function<void()> then) {
    Question question;
    question.message = tr("Replace the preset %1?").arg(name);
    question.informativeText = informativeText;
    question.buttons = {tr("Replace"), tr("Cancel")};
    question.escapeButton = 1;
    questions_.ask(question, [this, key = key_, then = std::move(then)](int button) {
        if (button == 0 && key == key_) then();
    });
}

void Presets::replaceAfterQuestion(const QString& name) {
    askToReplace(name, tr("It takes the values that the sliders have now."),
                 [this, name] { save(name, model_.values()); });
}

void Presets::renameAfterQuestion(const QString& name) {
    const auto kept = values(name);
    if (!kept) return;
    TextQuestion question;
    question.message = tr("Rename the preset %1").arg(name);
    question.informativeText = tr("Its slider values stay as they are.");
    question.placeholder = tr("Name");
    question.acceptButton = tr("Rename");
    question.text = name;
    questions_.askText(question, [this, name, kept = *kept, key = key_](const std::optional<QString>& typed) {
        const QString other = typed ? typed->trimmed() : QString();
        if (other.isEmpty() || other == name || key != key_) return;
        auto rename = [this, name, other, kept] {
            // The new one first: a disk that is full leaves the old one.
            store_.save(kept, other, key_);
            const auto written = store_.presets(key_);
            const bool there = std::ranges::any_of(
                written, [&](const auto& one) { return isSamePresetName(one.first, other) && one.second == kept; });
            if (there && !isSamePresetName(name, other)) store_.delete_(name, key_);
            announce();
        };
        if (has(other) && !isSamePresetName(name, other))
            askToReplace(other, tr("The preset %1 takes its place.").arg(name), rename);
        else
            rename();
    });
}

void Presets::save(const QString& name, const SliderValues& values) {
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty()) return;
    store_.save(values, trimmed, key_);
    announce();
}

void Presets::delete_(const QString& name) {
    store_.delete_(name, key_);
    announce();
}

} // namespace glasshob
