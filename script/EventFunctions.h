#pragma once

/// One event function of a project.
struct EVENT_FUNCTION {
    int Id;
    const char* sPrototype;
    const char* sComment; ///< sentence in the template's banner
    const char* sBody;    ///< template body behind the "{" line; null for an empty one
};

/// Row of an id; null if there is none.
const EVENT_FUNCTION* GetEventFunction(int Id);
