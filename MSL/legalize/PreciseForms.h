// The precise forms as functions of numbers, all of one float type; Precise.cpp says which form is which. Branch-free.
#pragma once

#include "MSL/legalize/PreciseParts.h"

namespace msl::precise {

// Correctly rounded (PreciseArithmetic.cpp).
Number divide(const Number& x, const Number& y);
Number squareRoot(const Number& x);
Number inverseRoot(const Number& x);
Number fusedMultiplyAdd(const Number& x, const Number& y, const Number& z);
Number remainderTruncated(const Number& x, const Number& y);

// PreciseExponentials.cpp. power: base^x * 2^shift.
Number power(const Number& x, double base, int shift = 0);
Number logarithm(const Number& x);
Number logarithmTo(const Number& x, double base);
Number powerOf(const Number& x, const Number& y, bool isReal);
Number hyperbolicSine(const Number& x);
Number hyperbolicCosine(const Number& x);
Number hyperbolicTangent(const Number& x);
Number arcHyperbolicSine(const Number& x);
Number arcHyperbolicCosine(const Number& x);
Number arcHyperbolicTangent(const Number& x);

// PreciseAngles.cpp. Those of turns take multiples of pi.
Number sine(const Number& x);
Number cosine(const Number& x);
Number tangent(const Number& x);
Number sineOfTurn(const Number& x);
Number cosineOfTurn(const Number& x);
Number tangentOfTurn(const Number& x);
Number arcSine(const Number& x);
Number arcCosine(const Number& x);
Number arcTangent(const Number& x);
Number arcTangent(const Number& y, const Number& x);

// NaN outside of [-1, 1].
inline Number outsideOne(const Number& x, const Number& value) {
    return choose(magnitudeBits(x) > 0x3F800000, notANumber(x), value);
}

} // namespace msl::precise
