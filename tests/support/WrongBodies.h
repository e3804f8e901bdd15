// Bodies of a type that no message of the protocol has.
#pragma once

#include <gio/gio.h>

#include "NamedRow.h"

inline namespace applist_test {

struct WrongBody : NamedRow {
    const char* text;
    const char* type;

    /** A floating body. */
    GVariant* Make() const { return g_variant_new_parsed(text); }
};

constexpr WrongBody WRONG_BODIES[] = {
    {{"Nothing"}, "()", "()"},
    {{"Number"}, "(int32 7,)", "(i)"},
    {{"Id"}, "(uint32 2001,)", "(u)"},
    {{"Numbers"}, "([uint32 1, 2],)", "(au)"},
    {{"SignedNumbers"}, "([66, 10],)", "(ai)"},
    {{"Booleans"}, "([true, false],)", "(ab)"},
    {{"Text"}, "('B\\n2\\n',)", "(s)"},
    {{"Texts"}, "(['a', 'b'],)", "(as)"},
    {{"BytesTwice"}, "(b'B', b'2')", "(ayay)"},
    {{"BytesInBytes"}, "(@aay [[1], [2]],)", "(aay)"},
    {{"Variant"}, "(<@ay [2, 0, 0, 0]>,)", "(v)"},
    {{"Dictionary"}, "({'a': <1>},)", "(a{sv})"},
};

} // namespace applist_test
