#pragma once

#include "access/Rights.h"

#include <optional>
#include <string>

namespace halvane {

// What is to be done with the reply to a request. It travels with the request and comes back before
// the reply, as one frame of the envelope.
struct ReplyJob {
    const OperationRight* right = nullptr; // whose rows are looked through; null: nothing is to do
    // Of an operation with pages: the request, and what has been found so far for its page, JSON
    // objects with commas between.
    std::string request;
    std::string rows;
    int count = 0;

    std::string ToFrame() const;
    static ReplyJob FromFrame(std::string_view frame);
};

// The objects of an array that may be shown, as a reply has them between its brackets.
std::string WriteRows(const JsonValue& rows);

} // namespace halvane
