// Decodes the bodies of the channel's messages with the library's own framing and items.
#ifndef APPLIST_TOOLS_DECODER_H
#define APPLIST_TOOLS_DECODER_H

#include <cstddef>
#include <string>

#include <gio/gio.h>

#include <monitor/Events.h>

namespace applistctl::Decoder {

/** The content of a call of "Send". @param cutBytes the bytes that are missing at its end */
Content ReadMessage(GVariant* body, std::size_t cutBytes, Side from);

/** The content of a signal "SendSignal". */
Content ReadNotification(GVariant* body, std::size_t cutBytes, Side from);

/** The reply to a message with @p content. */
void ReadReply(GVariant* body, std::size_t cutBytes, const Content& content, ReplySeen& reply);

/** "APPLIST_ADD_ITEMS_FNC (2004)", "id 7", or that there is no id */
std::string Title(const Content& content);

} // namespace applistctl::Decoder

#endif
