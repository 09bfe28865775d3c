#include "MSL/sema/AttributeTable.h"

#include <algorithm>

namespace msl {
namespace {

using enum AttributeUse;

constexpr KnownAttribute known[] = {
    {"always_inline", ignored},
    {"amplification_count", refused},
    {"amplification_id", refused},
    {"attribute", index, 31},
    {"barycentric_coord", refused},
    {"base_instance", plain},
    {"base_vertex", plain},
    {"buffer", index, 31},
    {"center_no_perspective", plain},
    {"center_perspective", plain},
    {"centroid_no_perspective", plain},
    {"centroid_perspective", plain},
    {"clip_distance", plain},
    {"color", index, 8},
    {"const", ignored},
    {"deprecated", ignored},
    {"depth", plain},
    {"dispatch_quadgroups_per_threadgroup", plain},
    {"dispatch_simdgroups_per_threadgroup", plain},
    {"dispatch_threads_per_threadgroup", plain},
    {"early_fragment_tests", plain},
    {"fallthrough", ignored},
    {"flat", plain},
    {"flatten", ignored},
    {"fragment", plain},
    {"front_facing", plain},
    {"function_constant", index, 65536},
    {"grid_origin", plain},
    {"grid_size", plain},
    {"host_name", plain},
    {"id", index, 65536},
    {"index", index, 2},
    {"instance_id", plain},
    {"invariant", plain},
    {"kernel", plain},
    {"likely", ignored},
    {"max_total_threads_per_threadgroup", plain},
    {"maybe_unused", ignored},
    {"nodiscard", ignored},
    {"noinline", ignored},
    {"noreturn", ignored},
    {"patch", refused},
    {"point_coord", plain},
    {"point_size", plain},
    {"position", plain},
    {"primitive_id", plain},
    {"pure", ignored},
    {"quadgroup_index_in_threadgroup", plain},
    {"quadgroups_per_threadgroup", plain},
    {"raster_order_group", plain},
    {"render_target_array_index", plain},
    {"sample_id", plain},
    {"sample_mask", plain},
    {"sample_no_perspective", plain},
    {"sample_perspective", plain},
    {"sampler", index, 16},
    {"shared", plain},
    {"simdgroup_index_in_threadgroup", plain},
    {"simdgroups_per_threadgroup", plain},
    {"stage_in", plain},
    {"stencil", refused},
    {"stitchable", ignored},
    {"texture", index, 128},
    {"thread_execution_width", plain},
    {"thread_index_in_quadgroup", plain},
    {"thread_index_in_simdgroup", plain},
    {"thread_index_in_threadgroup", plain},
    {"thread_position_in_grid", plain},
    {"thread_position_in_threadgroup", plain},
    {"threadgroup", index, 31},
    {"threadgroup_position_in_grid", plain},
    {"threadgroups_per_grid", plain},
    {"threads_per_grid", plain},
    {"threads_per_simdgroup", plain},
    {"threads_per_threadgroup", plain},
    {"unlikely", ignored},
    {"unused", ignored},
    {"user", plain},
    {"vertex", plain},
    {"vertex_id", plain},
    {"viewport_array_index", plain},
    {"visible", ignored},
};
static_assert(std::ranges::is_sorted(known, {}, &KnownAttribute::name));

} // namespace

std::span<const KnownAttribute> knownAttributes() {
    return known;
}

const KnownAttribute* findAttribute(std::string_view name) {
    const auto* found = std::ranges::lower_bound(known, name, {}, &KnownAttribute::name);
    return found != std::end(known) && found->name == name ? found : nullptr;
}

} // namespace msl
