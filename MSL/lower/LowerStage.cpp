// What only some kinds of entry points can do: derivatives and discarding in fragment functions, barriers in kernels,
// simd functions in both. A function may do it and serve several entry points, so every function carries what it needs,
// callers inherit it, and the entry point is where it is judged.
#include "MSL/lower/Lowering.h"

namespace msl {

void Lowering::needStage(StageNeed need, std::string_view name, SourceLocation at) {
    Need& known = needs_[context_->function][static_cast<std::size_t>(need)];
    if (known.name.empty()) known = {at, name};
}

void Lowering::inheritNeeds(const ir::Function* callee) {
    const auto found = needs_.find(callee);
    if (found == needs_.end()) return;
    const std::array<Need, 3> inherited = found->second;
    std::array<Need, 3>& own = needs_[context_->function];
    for (std::size_t i = 0; i < own.size(); ++i)
        if (own[i].name.empty()) own[i] = inherited[i];
}

void Lowering::checkNeeds(const ir::Function* wrapper, Stage stage) {
    const auto found = needs_.find(wrapper);
    if (found == needs_.end()) return;
    const auto check = [&](StageNeed need, bool isMet, std::string_view where) {
        const Need& wanted = found->second[static_cast<std::size_t>(need)];
        if (!isMet && !wanted.name.empty())
            diagnostics_.error(wanted.at, "'" + std::string(wanted.name) + "' can be used in " + std::string(where) +
                                              " functions only");
    };
    check(StageNeed::fragment, stage == Stage::fragment, "fragment");
    check(StageNeed::kernel, stage == Stage::kernel, "kernel");
    check(StageNeed::notVertex, stage != Stage::vertex, "kernel and fragment");
}

} // namespace msl
