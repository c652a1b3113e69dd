#pragma once

/// One event function of a project.
struct EVENT_FUNCTION {
    int Id;
    const char* sPrototype;
    const char* sComment;  ///< sentence in the template's banner
    const char* sPrologue; ///< sample body: what stands in front of the set-up of SP and PC; null for an empty body
    const char* sLogText;  ///< sample body: what the set-up logs
};

/// Row of an id; null if there is none.
const EVENT_FUNCTION* GetEventFunction(int Id);
