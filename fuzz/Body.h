// A message body of any type out of an input: one of the likely types or one that the input spells,
// over arbitrary bytes.
#pragma once

#include <memory>
#include <string>

#include <gio/gio.h>

#include "Target.h"

inline namespace applist_fuzz {

struct UnrefVariant {
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using Body = std::unique_ptr<GVariant, UnrefVariant>;

inline std::string BodyType(Choices& choices) {
    static const char* const LIKELY[] = {"(ay)", "(sss)",  "(s)",    "()",    "(v)",   "(ai)",
                                         "ay",   "(aay)",  "(ayay)", "(asv)", "(mst)", "(a{sv})",
                                         "(o)",  "(ssss)", "(as)",   "(y)"};
    const std::size_t choice = choices.Byte() % (G_N_ELEMENTS(LIKELY) + 1);
    if (choice < G_N_ELEMENTS(LIKELY)) {
        return LIKELY[choice];
    }
    const std::string spelled = choices.Text();
    const bool isDefinite = g_variant_type_string_is_valid(spelled.c_str()) != FALSE &&
                            g_variant_type_is_definite(G_VARIANT_TYPE(spelled.c_str())) != FALSE;
    return isDefinite ? spelled : "(ay)";
}

inline Body ReadBody(Choices& choices) {
    const std::string type = BodyType(choices);
    const std::string data = choices.LongText();
    g_autoptr(GBytes) bytes = g_bytes_new(data.data(), data.size());
    // Not trusted: GVariant reads a malformed element as its default value.
    return Body(
        g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE(type.c_str()), bytes, FALSE)));
}

inline std::string TypeOf(const Body& body) {
    return g_variant_get_type_string(body.get());
}

} // namespace applist_fuzz
