#!/usr/bin/env python3
"""Writes shader files of the shape that shader translators emit: generate.py FOLDER [COUNT]

Every file is one entry point put together from a few snippets, and every snippet is in at least three files. The same
count gives the same files. Only the standard library is used.
"""

import random
import re
import sys
from pathlib import Path

from resource_snippets import RESOURCE_SNIPPETS
from snippets import SHARED, SNIPPETS

LEAST_USES = 3
STAGES = ("kernel", "fragment", "vertex")


class Numbers:
    """Hands out buffer, texture and sampler indices and locations."""

    def __init__(self):
        self.next = {"B": 1, "T": 0, "S": 0, "L": 1}

    def fill(self, text):
        def number(match):
            kind, count = match.group(1), int(match.group(2) or 1)
            self.next[kind] += count
            return str(self.next[kind] - count)

        return re.sub(r"\$([BTSL])(\d*)", number, text)


def choose(rng, stage, uses):
    """Snippets for one file, the least used ones first."""
    candidates = [s for s in SNIPPETS + RESOURCE_SNIPPETS if stage in s.stages]
    rng.shuffle(candidates)
    candidates.sort(key=lambda snippet: uses[snippet.name])
    chosen = []
    textures = samplers = buffers = 0
    for snippet in candidates:
        if len(chosen) == 5:
            break
        parameters = " ".join(snippet.params)
        more_samplers = len(re.findall(r"\$S", parameters)) + (3 if "$S4" in parameters else 0)
        if samplers + more_samplers > 8 or any(name in s.name for s in chosen for name in snippet.excludes):
            continue
        samplers += more_samplers
        chosen.append(snippet)
    for snippet in chosen:
        uses[snippet.name] += 1
    rng.shuffle(chosen)
    return chosen


def main_function(stage, chosen, numbers):
    fields_in, fields_out, params, body = [], [], [], []
    if stage == "fragment":
        fields_in.append("float2 vUV [[user(locn0)]];")
        fields_out.append("float4 FragColor [[color(0)]];")
        params += ["main0_in in [[stage_in]]", "float4 gl_FragCoord [[position]]"]
        head = ["main0_out out = {};", "float2 uv = in.vUV;", "uint idx = uint(gl_FragCoord.x);"]
        tail = ["out.FragColor = acc;", "return out;"]
    elif stage == "vertex":
        fields_in.append("float3 position [[attribute(0)]];")
        fields_out.append("float2 vUV [[user(locn0)]];")
        fields_out.append("float4 gl_Position [[position, invariant]];" if numbers.next["B"] % 2 else "float4 gl_Position [[position]];")
        params += ["main0_in in [[stage_in]]", "uint gl_VertexIndex [[vertex_id]]"]
        head = ["main0_out out = {};", "float2 uv = in.position.xy;", "uint idx = gl_VertexIndex;"]
        tail = ["out.vUV = uv;", "out.gl_Position = acc;", "return out;"]
    else:
        params += ["device Results& results [[buffer(16)]]", "uint3 gl_GlobalInvocationID [[thread_position_in_grid]]",
                   "uint gl_LocalInvocationIndex [[thread_index_in_threadgroup]]"]
        head = ["uint idx = gl_GlobalInvocationID.x;", "float2 uv = float2(gl_GlobalInvocationID.xy) * 0.125;"]
        tail = ["results.values[gl_GlobalInvocationID.x] = acc;"]
    params.append("constant int& num [[buffer(0)]]")
    for snippet in chosen:
        fields_in += [numbers.fill(field) for field in snippet.fields_in]
        fields_out += [numbers.fill(field) for field in snippet.fields_out]
        params += [numbers.fill(parameter) for parameter in snippet.params]
        body.append(snippet.body.strip("\n"))
    text = ""
    if stage == "kernel":
        text += "struct Results\n{\n    float4 values[1];\n};\n\n"
    if stage != "kernel":
        text += "struct main0_out\n{\n    " + "\n    ".join(fields_out) + "\n};\n\n"
        text += "struct main0_in\n{\n    " + "\n    ".join(fields_in) + "\n};\n\n"
    prefix = ""
    if any(snippet.name == "early_tests" for snippet in chosen):
        prefix = "[[ early_fragment_tests ]] "
    result = "void" if stage == "kernel" else "main0_out"
    text += f"{prefix}{stage} {result} main0({', '.join(params)})\n{{\n"
    text += "".join(f"    {line}\n" for line in head) + "    float4 acc = float4(0.0);\n"
    text += "\n".join(body) + "\n" + "".join(f"    {line}\n" for line in tail) + "}\n"
    return text


def make_file(rng, stage, chosen):
    numbers = Numbers()
    shared = sorted({name for snippet in chosen for name in snippet.needs})
    text = ""
    if any("inline" in snippet.top for snippet in chosen):
        text += '#pragma clang diagnostic ignored "-Wmissing-prototypes"\n'
    if shared:
        text += '#pragma clang diagnostic ignored "-Wmissing-braces"\n'
    if text:
        text += "\n"
    text += "#include <metal_stdlib>\n#include <simd/simd.h>\n"
    if any("atomic" in snippet.name for snippet in chosen):
        text += "#include <metal_atomic>\n"
    text += "\nusing namespace metal;\n"
    text += "".join(SHARED[name] for name in shared)
    text += "".join(snippet.top for snippet in chosen)
    if stage == "kernel":
        text += "\nconstant uint3 gl_WorkGroupSize [[maybe_unused]] = uint3(64u, 1u, 1u);\n"
    return text + "\n" + main_function(stage, chosen, numbers) + "\n"


def main():
    folder = Path(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 150
    folder.mkdir(parents=True, exist_ok=True)
    rng = random.Random(7)
    uses = {snippet.name: 0 for snippet in SNIPPETS + RESOURCE_SNIPPETS}
    for number in range(count):
        stage = STAGES[number % len(STAGES)]
        chosen = choose(rng, stage, uses)
        (folder / f"{number:03}-{chosen[0].name}.metal").write_text(make_file(rng, stage, chosen))
    seldom = [name for name, times in uses.items() if times < LEAST_USES]
    if seldom:
        sys.exit(f"too few files ({count}) for: {', '.join(seldom)}")


if __name__ == "__main__":
    main()
