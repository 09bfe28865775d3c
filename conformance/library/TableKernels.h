// Makes and runs the kernels of the library's table: one function of the table over columns of arguments of one scalar
// kind, in every shape and every form, and with constants for arguments. Numbers travel as cells that hold any kind.
#pragma once

#include "MSL/builtins/BuiltinTable.h"
#include "conformance/library/Tolerances.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace glasshob::testing {

using Wide = __int128;
using UnsignedWide = unsigned __int128;

// A number of any scalar kind: floats in `real`, integers and bools in `whole`.
struct Cell {
    double real = 0;
    Wide whole = 0;
};

using Column = std::vector<Cell>;

std::string kindName(msl::ScalarKind kind);
// "float3"; count 1 gives the scalar.
std::string shapeName(msl::ScalarKind kind, unsigned count);
bool isWhole(msl::ScalarKind kind);
unsigned bitsOf(msl::ScalarKind kind);
// The range of an integer kind, and the integer cut to its bits.
Wide leastOf(msl::ScalarKind kind);
Wide mostOf(msl::ScalarKind kind);
Wide wrapped(msl::ScalarKind kind, Wide value);
// The nearest number that a floating kind holds.
double roundedTo(msl::ScalarKind kind, double value);
// Of a floating kind: the distance between neighbouring numbers at `value`, the largest number, the smallest normal
// one.
double ulpOf(msl::ScalarKind kind, double value);
double largestOf(msl::ScalarKind kind);
double smallestNormalOf(msl::ScalarKind kind);

std::vector<std::byte> encoded(msl::ScalarKind kind, const Column& cells);
Column decoded(msl::ScalarKind kind, const std::vector<std::byte>& bytes);
// As shader text, of the kind's type.
std::string literal(msl::ScalarKind kind, const Cell& cell);

// Where a call's numbers come from. The type of each argument is `kind` but where the table says otherwise.
struct TableCall {
    const msl::BuiltinFunction* function = nullptr;
    msl::ScalarKind kind = msl::ScalarKind::float_;
    std::vector<Column> arguments; // up to four, all of the same length
    std::size_t literals = 0;      // so many of the first are worked out while compiling, too
};

// One way of calling it.
struct TableForm {
    std::string text;       // "precise::sin(float3)", for messages
    bool isPrecise = false; // the metal::precise form
    unsigned shape = 1;     // components
    bool isFolded = false;  // of literals; `first` holds `literals` cells
    Column first;           // what it gave, shape components after each other for each row of the arguments
    Column second;          // through the reference parameter; empty without one
};

// Component c of a vector in row r of the arguments is row (r + c) % rows. Empty, with a failure, if it does not run.
std::vector<TableForm> runTable(const TableCall& call);

// The kind that a slot of the signature has when T has `kind`.
msl::ScalarKind slotKind(msl::BuiltinSlot slot, msl::ScalarKind kind);

} // namespace glasshob::testing
