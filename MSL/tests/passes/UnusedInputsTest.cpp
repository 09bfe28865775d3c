// Which inputs of a fragment function are left: those that something may read, by whatever way.
#include "MSL/passes/UnusedInputs.h"

#include "MSL/tests/lower/Lowered.h"

#include <gtest/gtest.h>

using namespace msl;
using msl::test::Lowered;

namespace {

TEST(UnusedInputs, OnlyWhatIsReadIsLeft) {
    const std::string head = "struct In { float4 position [[position]]; float2 uv; float3 tint [[flat]]; };\n"
                             "struct Sharp { float2 uv [[sample_perspective]]; float other; };\n"
                             "float first(In in) { return in.uv.x; }\n"
                             "float through(In in) { return first(in) + 1.0; }\n"
                             "float byReference(thread In& in) { return in.tint.y; }\n"
                             "float byAnother(thread In& in) { return byReference(in); }\n"
                             "void change(thread In& in) { in.uv = float2(1.0); }\n"
                             "In same(In in) { return in; }\n";
    struct {
        std::string_view parameters;
        std::string_view body;
        std::string_view left;
    } const cases[] = {
        {"In in [[stage_in]]", "return 1.0;", ""},
        {"In in [[stage_in]]", "return in.uv.x;", "uv"},
        {"In in [[stage_in]]", "return in.position.x + in.tint.z;", "position tint"},
        {"In in [[stage_in]]", "return first(in);", "uv"},
        {"In in [[stage_in]]", "return through(in);", "uv"},
        {"In in [[stage_in]]", "return byReference(in);", "tint"},
        {"In in [[stage_in]]", "return byAnother(in);", "tint"},
        {"In in [[stage_in]]", "change(in); return in.position.y;", "position"},
        {"In in [[stage_in]]", "in.uv = float2(2.0); return in.tint[int(in.position.x) & 1];", "position tint"},
        {"In in [[stage_in]]", "In other = in; return other.uv.y;", "uv"},
        {"In in [[stage_in]]", "return same(in).uv.x;", "position uv tint"},
        {"In in [[stage_in]]", "for (int i = 0; i < 3; i++) if (in.uv.x > float(i)) return in.tint.x; return 0.0;",
         "uv tint"},
        {"In in [[stage_in]]", "switch (int(in.uv.x)) { case 1: return in.tint.x; default: return 0.0; }", "uv tint"},
        {"In in [[stage_in]], float2 pc [[point_coord]], uint s [[sample_id]]", "return 1.0;", "s"},
        {"In in [[stage_in]], float2 pc [[point_coord]]", "return pc.x;", "pc"},
        {"float4 at [[position]], bool front [[front_facing]]", "return front ? 1.0 : 0.0;", "front"},
        {"Sharp in [[stage_in]]", "return 1.0;", "uv"}, // it makes the function run for every sample
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(std::string(item.parameters) + " { " + std::string(item.body) + " }");
        Lowered made(head + "fragment float f(" + std::string(item.parameters) + ") { " + std::string(item.body) +
                     " }\n");
        ASSERT_EQ(made.errors, "");
        ASSERT_EQ(made.module.entries.size(), 1U);
        dropUnusedInputs(made.module);
        EXPECT_EQ(ir::verify(made.module), "");
        std::string left;
        for (const ir::Variable* variable : *made.module.entries[0]->interface)
            if (variable->kind == ir::Variable::Kind::input)
                left += (left.empty() ? "" : " ") + std::string(variable->name);
        EXPECT_EQ(left, item.left);
    }
}

} // namespace
