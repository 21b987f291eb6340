/// What the headers of the C++ API share. None of them includes a header of the kernel.
#pragma once

/// Marks what the library exports.
#define SV_API __attribute__((visibility("default")))

class AceAttach;
class AceReporter;
class AceTimer;
class DareDataManager;
class DareLdbFile;
class DastCandidate;
class DastResult;
class DastSession;
class DastSessionManager;
class DastStatus;
class DastSuggestion;
class ScriptEngine;
