// Constants: interned, folded as the device computes, and looked through composites.
#include "MSL/constant/Half.h"
#include "MSL/ir/Ir.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace msl;
using namespace msl::ir;

namespace {

struct Fold : testing::Test {
    Module module;
    TypeTable& types = module.types;
    Builder builder{module};
    Block block;
    Fold() { builder.block = &block; }

    Value* number(ScalarKind kind, double value) {
        return isFloating(kind) ? module.constantFloat(types.scalar(kind), value)
                                : module.constantInt(types.scalar(kind), static_cast<std::int64_t>(value));
    }
    Value* parameter(TypeRef type) { return module.newValue(Value::Kind::parameter, type); }
};

TEST_F(Fold, EqualConstantsAreTheSameValue) {
    const TypeRef float3 = types.vector(ScalarKind::float_, 3);
    EXPECT_EQ(module.constantFloat(float3, 0.5), module.constantFloat(float3, 0.5));
    EXPECT_EQ(module.constantFloat(float3, 0), module.constantNull(float3));
    EXPECT_NE(module.constantFloat(types.float_(), 0.0), module.constantFloat(types.float_(), -0.0));
    EXPECT_NE(module.constantInt(types.int_(), 1), module.constantInt(types.uint(), 1));
}

TEST_F(Fold, IntegersWrapInTheirOwnWidth) {
    struct {
        ScalarKind kind;
        Op op;
        std::int64_t left, right, expected;
    } const cases[] = {
        {ScalarKind::int_, Op::add, 0x7FFFFFFF, 1, -0x80000000LL},
        {ScalarKind::uint, Op::sub, 0, 1, 0xFFFFFFFFLL},
        {ScalarKind::uint, Op::mul, 0x10000, 0x10000, 0},
        {ScalarKind::uchar, Op::add, 255, 2, 1},
        {ScalarKind::short_, Op::add, 32767, 1, -32768},
        {ScalarKind::int_, Op::div, -7, 2, -3},
        {ScalarKind::int_, Op::rem, -7, 2, -1},
        {ScalarKind::uint, Op::div, 0xFFFFFFF9LL, 2, 0x7FFFFFFCLL},
        {ScalarKind::int_, Op::shr, -8, 1, -4},
        {ScalarKind::uint, Op::shr, 0xFFFFFFF8LL, 1, 0x7FFFFFFCLL},
        {ScalarKind::int_, Op::shl, 1, 33, 2}, // the count is taken modulo the width
        {ScalarKind::int_, Op::div, -0x80000000LL, -1, -0x80000000LL},
        {ScalarKind::int_, Op::rem, -0x80000000LL, -1, 0},
        {ScalarKind::int_, Op::div, 7, 0, 7}, // by one
        {ScalarKind::int_, Op::rem, 7, 0, 0},
    };
    for (const auto& one : cases) {
        Value* result = builder.binary(one.op, types.scalar(one.kind), number(one.kind, static_cast<double>(one.left)),
                                       number(one.kind, static_cast<double>(one.right)));
        ASSERT_TRUE(result->isConstant()) << opName(one.op);
        EXPECT_EQ(Module::intValue(result), one.expected) << opName(one.op) << " " << one.left << " " << one.right;
    }
}

TEST_F(Fold, WholeNumbersOf64BitsStayExact) {
    const TypeRef ulong = types.scalar(ScalarKind::ulong);
    const TypeRef long_ = types.scalar(ScalarKind::long_);
    Value* most = module.constantInt(ulong, -1);
    Value* five = module.constantInt(ulong, 5);
    Value* odd = module.constantInt(long_, 9007199254740993); // 2^53 + 1 is no double
    Value* one = module.constantInt(long_, 1);
    const auto call = [&](BuiltinId id, TypeRef type, std::initializer_list<Value*> operands) {
        return builder.builtin(id, type, {operands.begin(), operands.size()});
    };
    EXPECT_EQ(call(BuiltinId::min, ulong, {most, five}), five);
    EXPECT_EQ(call(BuiltinId::max, long_, {odd, one}), odd);
    EXPECT_EQ(call(BuiltinId::mulhi, ulong, {most, most}), module.constantInt(ulong, -2));
    EXPECT_EQ(call(BuiltinId::madsat, ulong, {most, most, most}), most);
    // 2^24 + 2^-30 times 2^30: a float from a double from this integer would round twice, the wrong way
    Value* tie = module.constantInt(long_, (std::int64_t{1} << 54) + (std::int64_t{1} << 30) + 1);
    EXPECT_EQ(builder.convert(types.float_(), tie), module.constantFloat(types.float_(), 0x1.000002p54));
}

TEST_F(Fold, StepsOfFloatArithmeticRoundOneByOne) {
    const TypeRef float_ = types.float_();
    const auto number = [&](double value) { return module.constantFloat(float_, value); };
    const auto mixed = [&](double x, double y, double a) {
        Value* operands[] = {number(x), number(y), number(a)};
        return builder.builtin(BuiltinId::mix, float_, operands);
    };
    EXPECT_EQ(mixed(0.1, 1e10, 1), number(1e10)); // x + (y - x) * a would lose x and keep it lost
    EXPECT_EQ(mixed(16777216, 1, 0.5), number(8388608));
    // In double the squares would not overflow.
    const TypeRef float2 = types.vector(ScalarKind::float_, 2);
    Value* big = module.constantFloat(float2, 1e30);
    EXPECT_EQ(builder.builtin(BuiltinId::length, float_, {&big, 1}), number(INFINITY));
    // A half is rounded once: this one lies just above the middle of two.
    EXPECT_EQ(module.constantFloat(types.half(), 1 + 0x1p-11 + 0x1p-40)->bits, 0x3C01U);
}

TEST_F(Fold, LinearProductsAreSumsOverColumns) {
    const TypeRef float2 = types.vector(ScalarKind::float_, 2);
    const TypeRef matrix = types.matrix(ScalarKind::float_, 2, 2);
    const auto vector = [&](double x, double y) {
        Value* parts[] = {module.constantFloat(types.float_(), x), module.constantFloat(types.float_(), y)};
        return module.constantComposite(float2, parts);
    };
    Value* columns[] = {vector(1, 2), vector(3, 4)};
    Value* m = module.constantComposite(matrix, columns);
    EXPECT_EQ(builder.binary(Op::matrixTimesVector, float2, m, vector(10, 100)), vector(310, 420));
    EXPECT_EQ(builder.binary(Op::vectorTimesMatrix, float2, vector(10, 100), m), vector(210, 430));
    Value* squared[] = {vector(7, 10), vector(15, 22)};
    EXPECT_EQ(builder.binary(Op::matrixTimesMatrix, matrix, m, m), module.constantComposite(matrix, squared));
    Value* turned[] = {vector(1, 3), vector(2, 4)};
    EXPECT_EQ(builder.builtin(BuiltinId::transpose, matrix, {&m, 1}), module.constantComposite(matrix, turned));
    EXPECT_EQ(builder.builtin(BuiltinId::determinant, types.float_(), {&m, 1}),
              module.constantFloat(types.float_(), -2));
}

TEST_F(Fold, ConversionsTruncateAndSaturate) {
    struct {
        ScalarKind from;
        double value;
        ScalarKind to;
        double expected;
    } const cases[] = {
        {ScalarKind::float_, 2.9, ScalarKind::int_, 2},
        {ScalarKind::float_, -2.9, ScalarKind::int_, -2},
        {ScalarKind::float_, 1e20, ScalarKind::int_, 2147483647.0},
        {ScalarKind::float_, -1e20, ScalarKind::int_, -2147483648.0},
        {ScalarKind::float_, -1, ScalarKind::uint, 0},
        {ScalarKind::float_, 1e20, ScalarKind::uint, 4294967295.0},
        {ScalarKind::float_, 300, ScalarKind::uchar, 255},
        {ScalarKind::float_, NAN, ScalarKind::int_, 0},
        {ScalarKind::int_, -1, ScalarKind::uint, 4294967295.0},
        {ScalarKind::int_, 300, ScalarKind::uchar, 44},
        {ScalarKind::int_, -1, ScalarKind::float_, -1},
        {ScalarKind::uint, 4294967295.0, ScalarKind::float_, 4294967296.0},
        {ScalarKind::float_, 0.1, ScalarKind::half, 0.0999755859375},
        {ScalarKind::float_, 1e9, ScalarKind::half, INFINITY},
        {ScalarKind::float_, 0.25, ScalarKind::bool_, 1},
        {ScalarKind::bool_, 1, ScalarKind::float_, 1},
    };
    for (const auto& one : cases) {
        const Value* result = builder.convert(types.scalar(one.to), number(one.from, one.value));
        ASSERT_TRUE(result->isConstant());
        EXPECT_EQ(Module::floatValue(result), one.expected) << one.value;
    }
}

TEST_F(Fold, HalvesRoundToNearestEven) {
    for (std::uint32_t bits = 0; bits < 0x10000; ++bits) { // every half survives the way there and back
        const float value = halfToFloat(static_cast<std::uint16_t>(bits));
        if (!std::isnan(value)) ASSERT_EQ(floatToHalf(value), bits);
    }
    EXPECT_EQ(halfToFloat(floatToHalf(2049.0F)), 2048.0F);
    EXPECT_EQ(halfToFloat(floatToHalf(2051.0F)), 2052.0F);
    EXPECT_EQ(floatToHalf(65519.0F), 0x7BFF);
    EXPECT_EQ(floatToHalf(65520.0F), 0x7C00);
    EXPECT_EQ(floatToHalf(0x1p-25F), 0);
    EXPECT_EQ(floatToHalf(0x1.8p-25F), 1);
}

TEST_F(Fold, PartsAreKnownWithoutTakingThemOut) {
    const TypeRef float2 = types.vector(ScalarKind::float_, 2);
    const TypeRef float4 = types.vector(ScalarKind::float_, 4);
    Value* pair = parameter(float2);
    Value* scalar = parameter(types.float_());
    Value* parts[3] = {scalar, pair, module.constantFloat(types.float_(), 1)};
    Value* made = builder.construct(float4, parts);
    EXPECT_EQ(builder.extract(made, 0U), scalar);
    EXPECT_EQ(builder.extract(made, 3U), parts[2]);
    const Value* inner = builder.extract(made, 2U); // reaches through to the pair
    EXPECT_EQ(inner->definition->operands[0], pair);
    EXPECT_EQ(inner->definition->indices[0], 1U);
    const std::uint32_t swap[2] = {1, 0};
    const Value* back = builder.extract(builder.shuffle(pair, nullptr, swap), 0U);
    EXPECT_EQ(back->definition->operands[0], pair);
    EXPECT_EQ(back->definition->indices[0], 1U);
    const std::uint32_t same[2] = {0, 1};
    EXPECT_EQ(builder.shuffle(pair, nullptr, same), pair);
}

TEST_F(Fold, NeutralOperandsVanish) {
    Value* x = parameter(types.float_());
    Value* one = module.constantFloat(types.float_(), 1);
    EXPECT_EQ(builder.binary(Op::mul, types.float_(), x, one), x);
    EXPECT_EQ(builder.binary(Op::mul, types.float_(), one, x), x);
    EXPECT_EQ(builder.binary(Op::sub, types.float_(), x, module.constantFloat(types.float_(), 0)), x);
    EXPECT_FALSE(builder.binary(Op::mul, types.float_(), x, module.constantFloat(types.float_(), 0))->isConstant());
    EXPECT_EQ(builder.unary(Op::neg, builder.unary(Op::neg, x)), x);
}

TEST_F(Fold, VerifyFindsWhatIsBroken) {
    const auto makeFunction = [&](auto fill) {
        Module fresh;
        Builder build(fresh);
        Function* function = fresh.newFunction("f", types.void_());
        build.block = function->body;
        fill(fresh, build, *function);
        fresh.functions.push_back(function);
        return verify(fresh);
    };
    EXPECT_EQ(makeFunction([](Module&, Builder& build, Function&) { build.return_(); }), "");
    EXPECT_NE(makeFunction([&](Module& fresh, Builder& build, Function&) {
                  Value* stray = fresh.newValue(Value::Kind::parameter, types.float_());
                  build.unary(Op::neg, stray);
                  build.return_();
              }),
              "");
    EXPECT_NE(makeFunction([&](Module& fresh, Builder& build, Function& function) {
                  Value* inside = nullptr;
                  const Instruction* branch = build.if_(fresh.undefined(types.bool_()));
                  build.block = branch->blocks[0];
                  inside = build.convert(types.float_(), fresh.undefined(types.int_()));
                  build.block = function.body;
                  build.unary(Op::neg, inside); // seen only inside of the branch
                  build.return_();
              }),
              "");
    EXPECT_NE(makeFunction([&](Module& fresh, Builder& build, Function&) {
                  Variable* local = fresh.newVariable(Variable::Kind::local, types.float_(), "x"); // listed nowhere
                  build.store(build.place(local), fresh.constantFloat(types.float_(), 1));
                  build.return_();
              }),
              "");
    EXPECT_NE(makeFunction([&](Module&, Builder& build, Function&) {
                  build.return_();
                  build.return_();
              }),
              "");
    EXPECT_NE(makeFunction([&](Module&, Builder& build, Function&) { build.break_(); }), "");
}

} // namespace
