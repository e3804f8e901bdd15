// The list as it must be, and the requests that the partner must be sent.
#pragma once

#include <string>
#include <vector>

#include "PlainList.h"

inline namespace applist_fuzz {

struct ExpectedList : PlainList {
    void Expect(const std::string& request) {
        if (!request.empty()) {
            requests.push_back(request);
        }
    }
    void SelectionEvent(const std::string& answer) {
        Expect(Records::Frame("", Records::GET_SELECTION));
        MoveSelection(answer);
    }
    void CreatedEvent() {
        for (const std::string& request : Push()) {
            Expect(request);
        }
    }

    std::vector<std::string> requests;
};

} // namespace applist_fuzz
