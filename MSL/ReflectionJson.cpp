#include "MSL/Reflection.h"

#include <charconv>

namespace msl {

namespace {

// A writer for a known tree: no escapes beyond what names and types can hold.
class Json {
  public:
    std::string text;

    void open(char bracket) {
        text += bracket;
        ++depth_;
        isFirst_ = true;
    }
    void close(char bracket) {
        --depth_;
        if (!isFirst_) newLine();
        text += bracket;
        isFirst_ = false;
    }
    void item() {
        if (!isFirst_) text += ',';
        newLine();
        isFirst_ = false;
    }
    void key(std::string_view name) {
        item();
        string(name);
        text += ": ";
    }
    void string(std::string_view value) {
        text += '"';
        for (const char c : value) {
            const auto byte = static_cast<unsigned char>(c);
            if (c == '"' || c == '\\') {
                text += '\\';
                text += c;
            } else if (byte < 0x20) {
                static constexpr char digits[] = "0123456789abcdef";
                text += "\\u00";
                text += digits[byte >> 4U];
                text += digits[byte & 15U];
            } else {
                text += c;
            }
        }
        text += '"';
    }
    template <typename Number>
    void number(Number value) {
        char digits[40];
        text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    }
    void boolean(bool value) { text += value ? "true" : "false"; }

    void member(std::string_view name, std::string_view value) {
        key(name);
        string(value);
    }
    void member(std::string_view name, bool value) {
        key(name);
        boolean(value);
    }
    void member(std::string_view name, std::uint32_t value) {
        key(name);
        number(value);
    }

  private:
    void newLine() {
        text += '\n';
        text.append(depth_ * 2, ' ');
    }
    std::size_t depth_ = 0;
    bool isFirst_ = true;
};

std::string_view name(Stage stage) {
    constexpr std::string_view names[] = {"vertex", "fragment", "kernel"};
    return names[static_cast<unsigned>(stage)];
}

std::string_view name(BindingKind kind) {
    constexpr std::string_view names[] = {"uniformBuffer",  "storageBuffer",    "sampledTexture",
                                          "storageTexture", "texelBuffer",      "storageTexelBuffer",
                                          "sampler",        "constexprSampler", "inputAttachment"};
    return names[static_cast<unsigned>(kind)];
}

void writeSampler(Json& json, const SamplerState& state) {
    constexpr std::string_view filters[] = {"nearest", "linear"};
    constexpr std::string_view mipFilters[] = {"none", "nearest", "linear"};
    constexpr std::string_view addresses[] = {"clampToZero", "clampToEdge", "clampToBorder", "repeat",
                                              "mirroredRepeat"};
    constexpr std::string_view borders[] = {"transparentBlack", "opaqueBlack", "opaqueWhite"};
    constexpr std::string_view compares[] = {"never",        "less",  "lessEqual", "greater",
                                             "greaterEqual", "equal", "notEqual",  "always"};
    json.key("samplerState");
    json.open('{');
    json.member("magFilter", filters[static_cast<unsigned>(state.magFilter)]);
    json.member("minFilter", filters[static_cast<unsigned>(state.minFilter)]);
    json.member("mipFilter", mipFilters[static_cast<unsigned>(state.mipFilter)]);
    json.key("address");
    json.open('[');
    for (const SamplerState::Address address : state.address) {
        json.item();
        json.string(addresses[static_cast<unsigned>(address)]);
    }
    json.close(']');
    json.member("border", borders[static_cast<unsigned>(state.border)]);
    if (state.compares) json.member("compare", compares[static_cast<unsigned>(state.compare)]);
    json.member("normalizedCoordinates", state.normalizedCoordinates);
    json.key("lodMin");
    json.number(state.lodMin);
    json.key("lodMax");
    json.number(state.lodMax);
    json.member("maxAnisotropy", state.maxAnisotropy);
    json.close('}');
}

void writeVariables(Json& json, std::string_view key, const std::vector<StageVariable>& variables) {
    json.key(key);
    json.open('[');
    for (const StageVariable& variable : variables) {
        json.item();
        json.open('{');
        json.member("name", variable.name);
        json.member("typeName", variable.typeName);
        json.member("attribute", variable.attribute);
        json.key("location");
        json.number(variable.location);
        json.close('}');
    }
    json.close(']');
}

// Their numbers; a binding without the list may be read anywhere.
void writeMembersRead(Json& json, std::uint64_t members) {
    json.key("membersRead");
    json.open('[');
    for (std::uint32_t member = 0; member < 64; ++member) {
        if ((members >> member & 1) == 0) continue;
        json.item();
        json.number(member);
    }
    json.close(']');
}

} // namespace

std::string toJson(const Reflection& reflection) {
    Json json;
    json.open('{');
    json.key("entryPoints");
    json.open('[');
    for (const EntryPoint& entry : reflection.entryPoints) {
        json.item();
        json.open('{');
        json.member("name", entry.name);
        json.member("stage", name(entry.stage));
        json.key("bindings");
        json.open('[');
        for (const Binding& binding : entry.bindings) {
            json.item();
            json.open('{');
            json.member("name", binding.name);
            json.member("kind", name(binding.kind));
            json.member("metalIndex", binding.metalIndex);
            if (binding.argumentBuffer >= 0)
                json.member("argumentBuffer", static_cast<std::uint32_t>(binding.argumentBuffer));
            if (binding.arrayCount != 1) json.member("arrayCount", binding.arrayCount);
            json.member("set", binding.set);
            json.member("binding", binding.binding);
            json.member("typeName", binding.typeName);
            json.member("byteSize", binding.byteSize);
            json.member("byteAlignment", binding.byteAlignment);
            json.member("isArray", binding.isArray);
            json.member("isWritten", binding.isWritten);
            if (binding.byteSize > 0 && ~binding.membersRead != 0) writeMembersRead(json, binding.membersRead);
            if (binding.isAtomic) json.member("isAtomic", true);
            if (binding.kind == BindingKind::constexprSampler) writeSampler(json, binding.samplerState);
            json.close('}');
        }
        json.close(']');
        writeVariables(json, "inputs", entry.inputs);
        writeVariables(json, "outputs", entry.outputs);
        if (entry.stage == Stage::kernel) {
            json.key("localSize");
            json.open('[');
            for (const std::uint32_t size : entry.localSize) {
                json.item();
                json.number(size);
            }
            json.close(']');
            json.key("threadgroupArguments");
            json.open('[');
            for (const ThreadgroupArgument& argument : entry.threadgroupArguments) {
                json.item();
                json.open('{');
                json.member("name", argument.name);
                json.member("metalIndex", argument.metalIndex);
                json.member("typeName", argument.typeName);
                json.member("byteSize", argument.byteSize);
                json.member("isArray", argument.isArray);
                json.close('}');
            }
            json.close(']');
            json.member("threadgroupBytes", entry.threadgroupBytes);
        }
        if (entry.stage == Stage::fragment) {
            json.member("mayDiscard", entry.mayDiscard);
            json.member("usesDerivatives", entry.usesDerivatives);
        }
        json.close('}');
    }
    json.close(']');
    json.key("functionConstants");
    json.open('[');
    for (const FunctionConstant& constant : reflection.functionConstants) {
        json.item();
        json.open('{');
        json.member("name", constant.name);
        json.member("typeName", constant.typeName);
        json.member("metalIndex", constant.metalIndex);
        json.member("byteSize", constant.byteSize);
        json.member("componentCount", constant.componentCount);
        json.close('}');
    }
    json.close(']');
    if (reflection.usesAddresses) json.member("usesAddresses", true);
    json.key("structs");
    json.open('[');
    for (const StructLayout& layout : reflection.structs) {
        json.item();
        json.open('{');
        json.member("name", layout.name);
        json.member("size", layout.size);
        json.member("alignment", layout.alignment);
        json.key("members");
        json.open('[');
        for (const StructMember& member : layout.members) {
            json.item();
            json.open('{');
            json.member("name", member.name);
            json.member("typeName", member.typeName);
            json.member("offset", member.offset);
            json.member("size", member.size);
            json.close('}');
        }
        json.close(']');
        json.close('}');
    }
    json.close(']');
    json.close('}');
    json.text += '\n';
    return json.text;
}

} // namespace msl
