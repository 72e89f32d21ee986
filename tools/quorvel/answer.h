// Answers to messages, and messages that are passed on.
#pragma once

#include <string>
#include <string_view>

#include <quorvel/quorvel.h>

#include "quorvel/message_file.h"

namespace cli {

/// A copy of a message to send on: nothing is in its header that the message said of its own way, of lists
/// that it went over, or of who had signed it. `make` is one of the operations of the component that prepare
/// such copies.
Email answerTo(quorvel::IQuorvelEmail3& source,
               quorvel::Ref<quorvel::IQuorvelEmail2> (quorvel::IQuorvelEmail2::*make)());

/// Makes a reply part of the conversation that the message is of (RFC 5322 3.6.4).
void continueThread(quorvel::IQuorvelEmail2& reply, quorvel::IQuorvelEmail2& source);

/// Addresses a reply to where the message asks for answers (its Reply-To field), if it does.
void followReplyTo(quorvel::IQuorvelEmail2& reply, quorvel::IQuorvelEmail2& source);
/// Adds those who got the message too as recipients of a copy, but for `self` and who is in To.
void addOthers(quorvel::IQuorvelEmail2& reply, quorvel::IQuorvelEmail2& source, std::string_view self);

/// Puts a text of the user's in front of what an answer holds. It is a part of its own where the answer is
/// more than a plain text, or one in another charset.
void putBefore(Email& answer, const std::string& ownText);

}  // namespace cli
