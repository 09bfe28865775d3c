#include "conformance/library/TableKernels.h"

#include "GlassHobRender/tests/Kernels.h"

#include <bit>
#include <cmath>
#include <cstdio>

namespace glasshob::testing {

using msl::BuiltinSlot;
using msl::ScalarKind;

std::string kindName(ScalarKind kind) {
    static constexpr const char* names[] = {"bool", "char", "uchar", "short", "ushort", "int",
                                            "uint", "long", "ulong", "half",  "bfloat", "float"};
    return names[std::size_t(kind)];
}

std::string shapeName(ScalarKind kind, unsigned count) {
    return count == 1 ? kindName(kind) : kindName(kind) + std::to_string(count);
}

bool isWhole(ScalarKind kind) {
    return !msl::isFloating(kind);
}

unsigned bitsOf(ScalarKind kind) {
    return kind == ScalarKind::bool_ ? 1 : msl::byteSize(kind) * 8;
}

Wide leastOf(ScalarKind kind) {
    return msl::isSigned(kind) ? -(Wide(1) << (bitsOf(kind) - 1)) : Wide(0);
}

Wide mostOf(ScalarKind kind) {
    return (Wide(1) << (bitsOf(kind) - (msl::isSigned(kind) ? 1 : 0))) - 1;
}

Wide wrapped(ScalarKind kind, Wide value) {
    const Wide range = Wide(1) << bitsOf(kind);
    Wide cut = value & (range - 1);
    if (cut > mostOf(kind)) cut -= range;
    return cut;
}

double roundedTo(ScalarKind kind, double value) {
    if (kind == ScalarKind::half) return double(_Float16(value));
    if (kind == ScalarKind::bfloat) {
        if (!std::isfinite(value)) return value;
        const double unit = ulpOf(kind, value);
        const double made = std::nearbyint(value / unit) * unit;
        return std::fabs(made) > largestOf(kind) ? std::copysign(HUGE_VAL, value) : std::copysign(made, value);
    }
    return kind == ScalarKind::float_ ? double(float(value)) : value;
}

double ulpOf(ScalarKind kind, double value) {
    return kind == ScalarKind::half     ? ulpOf(value, 11, -13)
           : kind == ScalarKind::bfloat ? ulpOf(value, 8, -125)
                                        : ulpOf(value, 24, -125);
}

double largestOf(ScalarKind kind) {
    return kind == ScalarKind::half ? 65504.0 : kind == ScalarKind::bfloat ? 0x1.FEp127 : 0x1.FFFFFEp127;
}

double smallestNormalOf(ScalarKind kind) {
    return kind == ScalarKind::half ? 0x1p-14 : 0x1p-126;
}

std::vector<std::byte> encoded(ScalarKind kind, const Column& cells) {
    const std::size_t size = msl::byteSize(kind);
    std::vector<std::byte> bytes(cells.size() * size);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        std::uint64_t bits = std::uint64_t(cells[i].whole);
        if (kind == ScalarKind::float_) bits = std::bit_cast<std::uint32_t>(float(cells[i].real));
        if (kind == ScalarKind::half) bits = std::bit_cast<std::uint16_t>(_Float16(cells[i].real));
        if (kind == ScalarKind::bfloat)
            bits = std::bit_cast<std::uint32_t>(float(roundedTo(kind, cells[i].real))) >> 16;
        std::memcpy(bytes.data() + i * size, &bits, size);
    }
    return bytes;
}

Column decoded(ScalarKind kind, const std::vector<std::byte>& bytes) {
    const std::size_t size = msl::byteSize(kind);
    Column cells(bytes.size() / size);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, bytes.data() + i * size, size);
        if (kind == ScalarKind::float_)
            cells[i].real = std::bit_cast<float>(std::uint32_t(bits));
        else if (kind == ScalarKind::half)
            cells[i].real = double(std::bit_cast<_Float16>(std::uint16_t(bits)));
        else if (kind == ScalarKind::bfloat)
            cells[i].real = double(std::bit_cast<float>(std::uint32_t(bits) << 16));
        else
            cells[i].whole = kind == ScalarKind::bool_ ? Wide(bits) : wrapped(kind, Wide(bits));
    }
    return cells;
}

std::string literal(ScalarKind kind, const Cell& cell) {
    if (!isWhole(kind)) {
        if (std::isnan(cell.real)) return kindName(kind) + "(NAN)";
        if (std::isinf(cell.real)) return kindName(kind) + (cell.real < 0 ? "(-INFINITY)" : "(INFINITY)");
        char text[40];
        std::snprintf(text, sizeof text, "%.9ef", cell.real);
        return kindName(kind) + "(" + text + ")";
    }
    // The least long has no literal of its own.
    const std::string digits = cell.whole == leastOf(ScalarKind::long_) ? "(-9223372036854775807L - 1L)"
                               : cell.whole < 0 ? "(-" + std::to_string(std::uint64_t(-cell.whole)) + "L)"
                                                : std::to_string(std::uint64_t(cell.whole)) + "UL";
    return kindName(kind) + "(" + digits + ")";
}

ScalarKind slotKind(BuiltinSlot slot, ScalarKind kind) {
    switch (slot) {
    case BuiltinSlot::boolOfT:
    case BuiltinSlot::bool_: return ScalarKind::bool_;
    case BuiltinSlot::intOfT:
    case BuiltinSlot::threadIntOfT: return ScalarKind::int_;
    case BuiltinSlot::uint: return ScalarKind::uint;
    case BuiltinSlot::unsignedOfT:
        return msl::isInteger(kind) && msl::isSigned(kind) ? ScalarKind(unsigned(kind) + 1) : kind;
    default: return kind;
    }
}

namespace {

// Bools and the columns that are converted to one have a byte in memory.
ScalarKind stored(ScalarKind kind) {
    return kind == ScalarKind::bool_ ? ScalarKind::uchar : kind;
}

} // namespace

std::vector<TableForm> runTable(const TableCall& call) {
    const msl::BuiltinSignature& signature = *call.function->signature;
    const std::size_t rows = call.arguments[0].size();
    const ScalarKind result = slotKind(signature.result, call.kind);
    const bool isReduced = signature.result == BuiltinSlot::bool_ || signature.result == BuiltinSlot::elementOfT;
    const BuiltinSlot last = signature.parameters[signature.parameterCount - 1];
    const bool hasSecond = msl::isReferenceSlot(last);
    const ScalarKind second = slotKind(last, call.kind);
    const unsigned given = signature.parameterCount - (hasSecond ? 1U : 0U);
    const auto argumentKind = [&](unsigned a) { return slotKind(signature.parameters[a], call.kind); };

    std::vector<TableForm> forms;
    std::string text = "#include <metal_stdlib>\nusing namespace metal;\nconstant uint rows = " + std::to_string(rows) +
                       ";\nkernel void check(";
    for (unsigned a = 0; a < given; ++a)
        text += "device const " + kindName(stored(argumentKind(a))) + "* in" + std::to_string(a) + " [[buffer(" +
                std::to_string(a) + ")]], ";
    text += "device " + kindName(stored(result)) + "* out [[buffer(" + std::to_string(given) + ")]], ";
    if (hasSecond) text += "device " + kindName(second) + "* more [[buffer(" + std::to_string(given + 1) + ")]], ";
    text += "uint i [[thread_position_in_grid]]) {\nif (i >= rows) return;\n";
    for (unsigned a = 0; a < given; ++a) {
        const std::string name = "in" + std::to_string(a) + "[(i + ";
        text += shapeName(argumentKind(a), 4) + " v" + std::to_string(a) + " = " + shapeName(argumentKind(a), 4) + "(" +
                name + "0) % rows], " + name + "1) % rows], " + name + "2) % rows], " + name + "3) % rows]);\n";
    }
    static constexpr const char* parts[] = {".x", ".xy", ".xyz", ".xyzw"};
    std::size_t at = 0;
    const auto put = [&](TableForm& form, const std::string& base, const std::string& index) {
        const unsigned width = isReduced ? 1 : form.shape;
        for (unsigned c = 0; c < width; ++c) {
            const std::string part = width == 1 ? "" : std::string(".") + "xyzw"[c];
            text += " out[" + base + " + " + index + " + " + std::to_string(c) + "] = " + kindName(stored(result)) +
                    "(r" + part + ");";
            if (hasSecond)
                text += " more[" + base + " + " + index + " + " + std::to_string(c) + "] = " + "s" + part + ";";
        }
    };
    struct Place {
        std::size_t base, count;
    };
    std::vector<Place> places;
    for (const char* precision : {"", "fast::", "precise::"}) {
        if (*precision != '\0' && !call.function->hasPrecisions) continue;
        // not is an operator's other name as well, and cannot be qualified.
        const std::string callee = call.function->name == "not"
                                       ? "not"
                                       : std::string("metal::") + precision + std::string(call.function->name);
        for (unsigned shape = 0; shape <= 4; ++shape) { // 0: a scalar of literals
            TableForm form;
            form.isPrecise = precision[0] == 'p';
            form.isFolded = shape == 0;
            form.shape = std::max(shape, 1U);
            const std::string type = shapeName(call.kind, form.shape);
            form.text = precision + std::string(call.function->name) + "(" + type + ")" +
                        (form.isFolded ? " of constants" : "");
            if (form.isFolded ? call.literals == 0 : false) continue;
            const std::string outer = hasSecond ? shapeName(second, form.shape) + " s; auto r = " : "auto r = ";
            if (form.isFolded) {
                text += "if (i == 0) {\n";
                for (std::size_t n = 0; n < call.literals; ++n) {
                    text += "{ " + outer + callee + "(";
                    for (unsigned a = 0; a < given; ++a)
                        text += (a > 0 ? ", " : "") + literal(argumentKind(a), call.arguments[a][n]);
                    text += hasSecond ? ", s);" : ");";
                    put(form, std::to_string(at), std::to_string(n));
                    text += " }\n";
                }
                text += "}\n";
                places.push_back({at, call.literals});
            } else {
                text += "{ " + outer + callee + "(";
                for (unsigned a = 0; a < given; ++a) {
                    const bool isScalar = signature.parameters[a] == BuiltinSlot::elementOfT ||
                                          signature.parameters[a] == BuiltinSlot::uint;
                    text += (a > 0 ? ", v" : "v") + std::to_string(a) + parts[isScalar ? 0 : form.shape - 1];
                }
                text += hasSecond ? ", s);" : ");";
                const unsigned width = isReduced ? 1 : form.shape;
                put(form, std::to_string(at), "i * " + std::to_string(width));
                text += " }\n";
                places.push_back({at, rows * width});
            }
            at += places.back().count;
            forms.push_back(std::move(form));
        }
    }
    text += "}\n";

    std::vector<std::vector<std::byte>> buffers;
    for (unsigned a = 0; a < given; ++a)
        buffers.push_back(encoded(stored(argumentKind(a)), call.arguments[a]));
    buffers.emplace_back(at * msl::byteSize(stored(result)));
    if (hasSecond) buffers.emplace_back(at * msl::byteSize(second));
    if (!runKernel(text, buffers, std::uint32_t(rows))) {
        ADD_FAILURE() << call.function->name << " of " << kindName(call.kind) << ":\n" << text;
        return {};
    }
    const Column first = decoded(stored(result), buffers[given]);
    const Column more = hasSecond ? decoded(second, buffers[given + 1]) : Column{};
    for (std::size_t f = 0; f < forms.size(); ++f) {
        const auto begin = std::ptrdiff_t(places[f].base);
        const auto end = std::ptrdiff_t(places[f].base + places[f].count);
        forms[f].first.assign(first.begin() + begin, first.begin() + end);
        if (hasSecond) forms[f].second.assign(more.begin() + begin, more.begin() + end);
    }
    return forms;
}

} // namespace glasshob::testing
