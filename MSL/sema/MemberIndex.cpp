#include "MSL/sema/MemberIndex.h"

#include <algorithm>
#include <functional>

namespace msl {

namespace {

constexpr std::size_t fewMembers = 32;

// The names that a member brings in are its own or, for an unscoped enumeration, those inside it as well.
template <typename Use>
void forEachName(const Decl* member, Use use) {
    use(member->name);
    if (member->kind != DeclKind::enum_ || static_cast<const EnumDecl*>(member)->isScoped) return;
    for (const EnumeratorDecl* enumerator : static_cast<const EnumDecl*>(member)->enumerators)
        use(enumerator->name);
}

} // namespace

std::span<Decl* const> MemberIndex::candidates(const StructDecl* decl, const Identifier* name) {
    const std::span<Decl* const> members = decl->members;
    if (members.size() <= fewMembers) return members;
    Table& table = tables_[decl];
    if (table.of.data() != members.data() || table.of.size() != members.size()) fill(table, members);
    const auto [first, last] = std::ranges::equal_range(table.names, name, std::less<>());
    return std::span(table.sorted).subspan(std::size_t(first - table.names.begin()), std::size_t(last - first));
}

void MemberIndex::fill(Table& table, std::span<Decl* const> members) {
    std::vector<std::pair<const Identifier*, Decl*>> pairs;
    pairs.reserve(members.size());
    for (Decl* member : members)
        forEachName(member, [&](const Identifier* name) {
            if (name != nullptr) pairs.emplace_back(name, member);
        });
    std::ranges::stable_sort(pairs, std::less<>(), [](const auto& pair) { return pair.first; });
    table.of = members;
    table.names.clear();
    table.sorted.clear();
    for (const auto& [name, member] : pairs) {
        table.names.push_back(name);
        table.sorted.push_back(member);
    }
}

} // namespace msl
