#include "MSL/sema/Scopes.h"

namespace msl {

void Scopes::close() {
    const std::uint32_t start = starts_.back();
    while (entries_.size() > start) {
        ScopeEntry* entry = entries_.back();
        entry->name->scope = entry->hidden;
        entries_.pop_back();
        free_.push_back(entry);
    }
    starts_.pop_back();
}

ScopeEntry* Scopes::make() {
    if (free_.empty()) return arena_.make<ScopeEntry>();
    ScopeEntry* entry = free_.back();
    free_.pop_back();
    return entry;
}

void Scopes::add(const Identifier* name, Decl* decl) {
    ScopeEntry* entry = make();
    *entry = ScopeEntry{decl, name, name->scope, depth()};
    name->scope = entry;
    entries_.push_back(entry);
}

void Scopes::addOutermost(const Identifier* name, Decl* decl) {
    ScopeEntry* entry = arena_.make<ScopeEntry>(ScopeEntry{decl, name, nullptr, 0});
    if (!name->scope) {
        name->scope = entry;
        return;
    }
    ScopeEntry* at = name->scope;
    while (at->hidden)
        at = at->hidden;
    at->hidden = entry;
}

std::span<ScopeEntry* const> Scopes::innermost() const {
    const std::size_t start = starts_.empty() ? 0 : starts_.back();
    return std::span(entries_).subspan(start);
}

ScopeEntry* Scopes::findInInnermost(const Identifier* name) const {
    ScopeEntry* entry = name->scope;
    return entry && entry->depth == depth() ? entry : nullptr;
}

Scopes::Suspended Scopes::suspend() {
    Suspended suspended;
    if (starts_.empty()) return suspended;
    const std::uint32_t start = starts_.front();
    for (std::size_t i = entries_.size(); i > start; --i)
        entries_[i - 1]->name->scope = entries_[i - 1]->hidden;
    suspended.entries.assign(entries_.begin() + start, entries_.end());
    suspended.starts = std::move(starts_);
    for (std::uint32_t& at : suspended.starts)
        at -= start;
    entries_.resize(start);
    starts_.clear();
    return suspended;
}

void Scopes::resume(Suspended&& suspended) {
    const auto start = static_cast<std::uint32_t>(entries_.size());
    for (ScopeEntry* entry : suspended.entries) {
        entry->hidden = entry->name->scope;
        entry->name->scope = entry;
        entries_.push_back(entry);
    }
    for (std::uint32_t& at : suspended.starts)
        at += start;
    starts_ = std::move(suspended.starts);
}

} // namespace msl
