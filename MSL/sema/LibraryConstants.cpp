#include "MSL/sema/LibraryConstants.h"

namespace msl {
namespace {

constexpr LibraryConstant constants[] = {
    {"access", "sample", 0},
    {"access", "read", 1},
    {"access", "write", 2},
    {"access", "read_write", 3},
    {"filter", "nearest", 0},
    {"filter", "linear", 1},
    {"mag_filter", "nearest", 0},
    {"mag_filter", "linear", 1},
    {"min_filter", "nearest", 0},
    {"min_filter", "linear", 1},
    {"mip_filter", "none", 0},
    {"mip_filter", "nearest", 1},
    {"mip_filter", "linear", 2},
    {"address", "clamp_to_zero", 0},
    {"address", "clamp_to_edge", 1},
    {"address", "clamp_to_border", 2},
    {"address", "repeat", 3},
    {"address", "mirrored_repeat", 4},
    {"s_address", "clamp_to_zero", 0},
    {"s_address", "clamp_to_edge", 1},
    {"s_address", "clamp_to_border", 2},
    {"s_address", "repeat", 3},
    {"s_address", "mirrored_repeat", 4},
    {"t_address", "clamp_to_zero", 0},
    {"t_address", "clamp_to_edge", 1},
    {"t_address", "clamp_to_border", 2},
    {"t_address", "repeat", 3},
    {"t_address", "mirrored_repeat", 4},
    {"r_address", "clamp_to_zero", 0},
    {"r_address", "clamp_to_edge", 1},
    {"r_address", "clamp_to_border", 2},
    {"r_address", "repeat", 3},
    {"r_address", "mirrored_repeat", 4},
    {"border_color", "transparent_black", 0},
    {"border_color", "opaque_black", 1},
    {"border_color", "opaque_white", 2},
    {"compare_func", "never", 0},
    {"compare_func", "less", 1},
    {"compare_func", "less_equal", 2},
    {"compare_func", "greater", 3},
    {"compare_func", "greater_equal", 4},
    {"compare_func", "equal", 5},
    {"compare_func", "not_equal", 6},
    {"compare_func", "always", 7},
    {"interpolation", "perspective", 0},
    {"interpolation", "no_perspective", 1},
    {"coord", "normalized", 1},
    {"coord", "pixel", 0},
    {"component", "x", 0},
    {"component", "y", 1},
    {"component", "z", 2},
    {"component", "w", 3},
    {"mem_flags", "mem_none", 0},
    {"mem_flags", "mem_device", 1},
    {"mem_flags", "mem_threadgroup", 2},
    {"mem_flags", "mem_texture", 4},
    {"mem_flags", "mem_threadgroup_imageblock", 8},
    {"mem_flags", "mem_device_and_threadgroup", 3},
    {"memory_order", "memory_order_relaxed", 0},
    {"", "memory_order_relaxed", 0},
    {"memory_order", "memory_order_seq_cst", 5},
    {"", "memory_order_seq_cst", 5},
    {"memory_order", "memory_order_acquire", 2},
    {"", "memory_order_acquire", 2},
    {"memory_order", "memory_order_release", 3},
    {"", "memory_order_release", 3},
    {"memory_order", "memory_order_acq_rel", 4},
    {"", "memory_order_acq_rel", 4},
    {"thread_scope", "thread_scope_thread", 0},
    {"", "thread_scope_thread", 0},
    {"thread_scope", "thread_scope_simdgroup", 1},
    {"", "thread_scope_simdgroup", 1},
    {"thread_scope", "thread_scope_threadgroup", 2},
    {"", "thread_scope_threadgroup", 2},
    {"thread_scope", "thread_scope_device", 3},
    {"", "thread_scope_device", 3},
};

} // namespace

const LibraryConstant* findLibraryConstant(std::string_view enumeration, std::string_view name) {
    for (const LibraryConstant& constant : constants)
        if (constant.enumeration == enumeration && constant.name == name) return &constant;
    return nullptr;
}

bool isLibraryEnum(std::string_view enumeration) {
    for (const LibraryConstant& constant : constants)
        if (!constant.enumeration.empty() && constant.enumeration == enumeration) return true;
    return false;
}

std::span<const LibraryConstant> libraryConstants() {
    return constants;
}

} // namespace msl
