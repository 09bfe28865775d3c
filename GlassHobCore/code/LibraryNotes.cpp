#include "GlassHobCore/code/LibraryNotes.h"

#include <algorithm>
#include <iterator>

namespace glasshob::libraryNotes {

namespace {

constexpr AttributeNote attributes[] = {
    {"attribute", "The index of a vertex attribute."},
    {"base_instance", "The index of the first instance of the draw call."},
    {"base_vertex", "The value added to every vertex index of the draw call."},
    {"buffer", "The index at which a buffer is bound."},
    {"center_no_perspective", "Interpolated at the pixel's centre, without perspective."},
    {"center_perspective", "Interpolated at the pixel's centre, with perspective: the default."},
    {"centroid_no_perspective", "Interpolated at the centroid of the covered samples, without perspective."},
    {"centroid_perspective", "Interpolated at the centroid of the covered samples, with perspective."},
    {"clip_distance", "The signed distance to a clip plane: what is negative is clipped."},
    {"color", "The index of the render target that a colour is written to."},
    {"deprecated", "Warns where it is used.", "\"message\""},
    {"depth", "The depth that the fragment function writes.", "any"},
    {"dispatch_quadgroups_per_threadgroup", "The number of quad-groups in a full threadgroup."},
    {"dispatch_simdgroups_per_threadgroup", "The number of SIMD-groups in a full threadgroup."},
    {"dispatch_threads_per_threadgroup", "The number of threads in a full threadgroup."},
    {"early_fragment_tests", "Runs the depth and stencil tests before the fragment function."},
    {"fallthrough", "The case falls through to the next one on purpose."},
    {"flat", "Not interpolated: the value of the first vertex."},
    {"front_facing", "True where the primitive's front face is seen."},
    {"function_constant", "A constant whose value is given when the pipeline is made."},
    {"host_name", "The name by which the host finds the function.", "\"name\""},
    {"id", "The index of a member of an argument buffer."},
    {"index", "Which source of dual-source blending the colour is: 0 or 1."},
    {"instance_id", "The index of the instance."},
    {"invariant", "The position comes out the same in every pipeline."},
    {"max_total_threads_per_threadgroup", "The maximum number of threads in a threadgroup.", "256"},
    {"maybe_unused", "No warning where it is not used."},
    {"nodiscard", "Warns where the result is not used."},
    {"point_coord", "The coordinates inside a point primitive, from 0 to 1."},
    {"point_size", "The size of a point primitive in pixels."},
    {"position", "A vertex's position in clip space; a fragment's pixel coordinates."},
    {"primitive_id", "The index of the primitive."},
    {"quadgroup_index_in_threadgroup", "The index of the quad-group in its threadgroup."},
    {"quadgroups_per_threadgroup", "The number of quad-groups in a threadgroup."},
    {"raster_order_group", "Orders the memory accesses of fragments of the same pixel.", "0"},
    {"render_target_array_index", "The array slice of the render target to draw into."},
    {"sample_id", "The index of the sample in its pixel."},
    {"sample_mask", "The coverage mask: one bit for each sample."},
    {"sample_no_perspective", "Interpolated at each sample, without perspective."},
    {"sample_perspective", "Interpolated at each sample, with perspective."},
    {"sampler", "The index at which a sampler is bound."},
    {"simdgroup_index_in_threadgroup", "The index of the SIMD-group in its threadgroup."},
    {"simdgroups_per_threadgroup", "The number of SIMD-groups in a threadgroup."},
    {"stage_in", "The stage's inputs: vertex attributes, or the interpolated outputs of the vertex function."},
    {"texture", "The index at which a texture is bound."},
    {"thread_execution_width", "The number of threads in a SIMD-group."},
    {"thread_index_in_quadgroup", "The thread's index in its quad-group."},
    {"thread_index_in_simdgroup", "The thread's index in its SIMD-group: its lane."},
    {"thread_index_in_threadgroup", "The thread's index in its threadgroup, as one number."},
    {"thread_position_in_grid", "The thread's position in the grid."},
    {"thread_position_in_threadgroup", "The thread's position in its threadgroup."},
    {"threadgroup", "The index at which threadgroup memory is bound."},
    {"threadgroup_position_in_grid", "The threadgroup's position in the grid."},
    {"threadgroups_per_grid", "The number of threadgroups in the grid."},
    {"threads_per_grid", "The number of threads in the grid."},
    {"threads_per_simdgroup", "The number of threads in a SIMD-group."},
    {"threads_per_threadgroup", "The number of threads in a threadgroup."},
    {"user", "The name that matches a vertex function's output with a fragment function's input.", "name"},
    {"vertex_id", "The index of the vertex."},
    {"viewport_array_index", "The index of the viewport to draw into."},
};
static_assert(std::ranges::is_sorted(attributes, {}, &AttributeNote::name));

struct MethodNote {
    std::string_view name;
    std::string_view text;
};

constexpr MethodNote methods[] = {
    {"atomic_compare_exchange_weak", "Replaces a texel if it holds the expected value, atomically."},
    {"atomic_exchange", "Replaces a texel and gives its old value, atomically."},
    {"atomic_fetch_add", "Adds to a texel and gives its old value, atomically."},
    {"atomic_fetch_and", "A bitwise and with a texel, atomically; gives its old value."},
    {"atomic_fetch_max", "The maximum with a texel, atomically; gives its old value."},
    {"atomic_fetch_min", "The minimum with a texel, atomically; gives its old value."},
    {"atomic_fetch_or", "A bitwise or with a texel, atomically; gives its old value."},
    {"atomic_fetch_sub", "Subtracts from a texel and gives its old value, atomically."},
    {"atomic_fetch_xor", "A bitwise exclusive or with a texel, atomically; gives its old value."},
    {"atomic_load", "Reads one texel atomically."},
    {"atomic_store", "Writes one texel atomically."},
    {"calculate_clamped_lod", "The level of detail for sampling there, clamped to the texture's mipmap levels."},
    {"calculate_unclamped_lod", "The level of detail for sampling there, before it is clamped."},
    {"fence", "Makes the thread's earlier writes visible to its later reads."},
    {"gather", "One component of the four texels that bilinear filtering takes."},
    {"gather_compare", "Compares each of the four texels that bilinear filtering takes with a value."},
    {"get_array_size", "The number of array slices."},
    {"get_depth", "The depth in texels."},
    {"get_height", "The height in texels."},
    {"get_num_mip_levels", "The number of mipmap levels."},
    {"get_num_samples", "The number of samples in a pixel."},
    {"get_width", "The width in texels."},
    {"read", "Reads one texel, without filtering."},
    {"sample", "Samples the texture with the sampler's filter."},
    {"sample_compare", "Compares the sampled depths with a value and filters the results."},
    {"write", "Writes one texel."},
};
static_assert(std::ranges::is_sorted(methods, {}, &MethodNote::name));

} // namespace

const AttributeNote* onAttribute(std::string_view name) {
    const auto* found = std::ranges::lower_bound(attributes, name, {}, &AttributeNote::name);
    return found != std::end(attributes) && found->name == name ? found : nullptr;
}

std::string_view onTextureMethod(std::string_view name) {
    const auto* found = std::ranges::lower_bound(methods, name, {}, &MethodNote::name);
    return found != std::end(methods) && found->name == name ? found->text : std::string_view();
}

} // namespace glasshob::libraryNotes
