// The text form of a GVariant, with its types.
#pragma once

#include <string>

#include <glib.h>

inline namespace applist_test {

inline std::string Printed(GVariant* value) {
    g_autofree char* text = g_variant_print(value, TRUE);
    return text;
}

} // namespace applist_test
