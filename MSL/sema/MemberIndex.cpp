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
    struct Named {
        const Identifier* name;
        std::size_t place; // in the order of the source
        Decl* member;
    };
    std::vector<Named> found;
    found.reserve(members.size());
    for (Decl* member : members)
        forEachName(member, [&](const Identifier* name) {
            if (name != nullptr) found.push_back({name, found.size(), member});
        });
    std::ranges::sort(found, std::less<>(), [](const Named& one) { return std::pair(one.name, one.place); });
    table.of = members;
    table.names.clear();
    table.sorted.clear();
    for (const auto& [name, place, member] : found) {
        table.names.push_back(name);
        table.sorted.push_back(member);
    }
}

} // namespace msl
