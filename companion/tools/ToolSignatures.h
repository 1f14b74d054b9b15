// What each tool takes and returns: its name, the record of its arguments and the record of its result.
//
// Every key of the tools is written here, and only here. A test compares these keys and their types with the schemas
// that vostel-mcp announces.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vostel_companion {

struct NoArguments {
    static void codingKeys(auto& /*self*/, auto& /*key*/) {}
};

/// The window of the list tools, as the client gave it.
struct ListArguments {
    std::optional<std::int64_t> limit;
    std::optional<std::string> since;
    std::optional<std::string> until;

    static void codingKeys(auto& self, auto& key) {
        key("limit", self.limit);
        key("since", self.since);
        key("until", self.until);
    }
};

/// One page of a list. `Entry::listKey` is the key under which the entries are.
template <class Entry>
struct ListResult {
    std::vector<Entry> entries;
    std::size_t returnedCount = 0;
    /// Before the limit was applied.
    std::int64_t totalCount = 0;

    static void codingKeys(auto& self, auto& key) {
        key(Entry::listKey, self.entries);
        key("returnedCount", self.returnedCount);
        key("totalCount", self.totalCount);
    }
};

/// What both transcribing tools return.
struct TranscriptionResult {
    struct Segment {
        std::string text;
        double startTime = 0;
        double endTime = 0;

        static void codingKeys(auto& self, auto& key) {
            key("text", self.text);
            key("startTime", self.startTime);
            key("endTime", self.endTime);
        }
    };

    std::string text;
    /// Left out of a long record.
    std::optional<std::vector<Segment>> segments;

    static void codingKeys(auto& self, auto& key) {
        key("text", self.text);
        key("segments", self.segments);
    }
};

struct TranscribeFile {
    static constexpr const char* name = "transcribe_file";
    struct Arguments {
        std::string path;
        std::optional<std::string> language;

        static void codingKeys(auto& self, auto& key) {
            key("path", self.path);
            key("language", self.language);
        }
    };
    using Result = TranscriptionResult;
};

struct TranscribeURL {
    static constexpr const char* name = "transcribe_url";
    struct Arguments {
        std::string url;
        std::optional<std::string> language;

        static void codingKeys(auto& self, auto& key) {
            key("url", self.url);
            key("language", self.language);
        }
    };
    using Result = TranscriptionResult;
};

struct HistoryList {
    static constexpr const char* name = "history_list";
    using Arguments = ListArguments;
    struct Entry {
        static constexpr const char* listKey = "entries";

        std::string date;
        std::string text;
        std::string outcome;
        std::optional<std::string> failureReason;
        std::optional<std::string> targetApplication;
        std::optional<double> duration;

        static void codingKeys(auto& self, auto& key) {
            key("date", self.date);
            key("text", self.text);
            key("outcome", self.outcome);
            key("failureReason", self.failureReason);
            key("targetApplication", self.targetApplication);
            key("duration", self.duration);
        }
    };
    using Result = ListResult<Entry>;
};

struct TranscriptsList {
    static constexpr const char* name = "transcripts_list";
    struct Arguments {
        /// Present: this one transcript instead of a list.
        std::optional<std::string> id;
        ListArguments list;

        static void codingKeys(auto& self, auto& key) {
            key("id", self.id);
            ListArguments::codingKeys(self.list, key);
        }
    };
    struct Source {
        std::string kind;
        std::string value;

        static void codingKeys(auto& self, auto& key) {
            key("kind", self.kind);
            key("value", self.value);
        }
    };
    struct Segment {
        double startTime = 0;
        double endTime = 0;

        static void codingKeys(auto& self, auto& key) {
            key("startTime", self.startTime);
            key("endTime", self.endTime);
        }
    };
    struct Entry {
        static constexpr const char* listKey = "entries";

        std::string id;
        std::string date;
        Source source;
        std::optional<double> duration;
        std::optional<std::string> language;
        std::int64_t characterCount = 0;
        /// In lists only.
        std::optional<std::string> preview;
        // Only when the call named this transcript. The segments are left out of a long record.
        std::optional<std::string> text;
        std::optional<std::vector<Segment>> segments;

        static void codingKeys(auto& self, auto& key) {
            key("id", self.id);
            key("date", self.date);
            key("source", self.source);
            key("duration", self.duration);
            key("language", self.language);
            key("characterCount", self.characterCount);
            key("preview", self.preview);
            key("text", self.text);
            key("segments", self.segments);
        }
    };
    using Result = ListResult<Entry>;
};

struct RecordingsList {
    static constexpr const char* name = "recordings_list";
    using Arguments = ListArguments;
    struct Entry {
        static constexpr const char* listKey = "recordings";

        std::string id;
        std::string startedAt;
        std::optional<double> duration;
        std::string state;
        std::optional<std::string> failureReason;
        std::optional<double> progress;
        std::optional<std::string> language;
        std::int64_t lineCount = 0;
        std::string preview;

        static void codingKeys(auto& self, auto& key) {
            key("id", self.id);
            key("startedAt", self.startedAt);
            key("duration", self.duration);
            key("state", self.state);
            key("failureReason", self.failureReason);
            key("progress", self.progress);
            key("language", self.language);
            key("lineCount", self.lineCount);
            key("preview", self.preview);
        }
    };
    using Result = ListResult<Entry>;
};

struct RecordingGet {
    static constexpr const char* name = "recording_get";
    struct Arguments {
        std::string id;

        static void codingKeys(auto& self, auto& key) { key("id", self.id); }
    };
    struct Turn {
        std::string track;
        std::string speaker;
        std::string text;
        double startTime = 0;
        double endTime = 0;

        static void codingKeys(auto& self, auto& key) {
            key("track", self.track);
            key("speaker", self.speaker);
            key("text", self.text);
            key("startTime", self.startTime);
            key("endTime", self.endTime);
        }
    };
    struct Result {
        std::string id;
        std::string startedAt;
        std::optional<double> duration;
        std::string state;
        std::optional<std::string> language;
        std::string text;
        /// Left out of a long record.
        std::optional<std::vector<Turn>> lines;

        static void codingKeys(auto& self, auto& key) {
            key("id", self.id);
            key("startedAt", self.startedAt);
            key("duration", self.duration);
            key("state", self.state);
            key("language", self.language);
            key("text", self.text);
            key("lines", self.lines);
        }
    };
};

/// A vocabulary rule, both as an argument and in a result.
struct RuleRecord {
    std::string word;
    std::string replacement;

    static void codingKeys(auto& self, auto& key) {
        key("word", self.word);
        key("replacement", self.replacement);
    }
};

struct VocabularyList {
    static constexpr const char* name = "vocabulary_list";
    using Arguments = NoArguments;
    struct Result {
        std::vector<RuleRecord> entries;

        static void codingKeys(auto& self, auto& key) { key("entries", self.entries); }
    };
};

struct VocabularyAdd {
    static constexpr const char* name = "vocabulary_add";
    struct Arguments {
        std::vector<RuleRecord> rules;

        static void codingKeys(auto& self, auto& key) { key("rules", self.rules); }
    };
    struct RuleOutcome {
        RuleRecord rule;
        std::string outcome;

        static void codingKeys(auto& self, auto& key) {
            RuleRecord::codingKeys(self.rule, key);
            key("outcome", self.outcome);
        }
    };
    struct Result {
        std::vector<RuleOutcome> results;

        static void codingKeys(auto& self, auto& key) { key("results", self.results); }
    };
};

struct VocabularyRemove {
    static constexpr const char* name = "vocabulary_remove";
    struct Arguments {
        std::vector<std::string> words;

        static void codingKeys(auto& self, auto& key) { key("words", self.words); }
    };
    struct Result {
        std::vector<std::string> removed;

        static void codingKeys(auto& self, auto& key) { key("removed", self.removed); }
    };
};

struct ModelArguments {
    std::string identifier;

    static void codingKeys(auto& self, auto& key) { key("identifier", self.identifier); }
};

struct ModelsList {
    static constexpr const char* name = "models_list";
    using Arguments = NoArguments;
    struct Entry {
        std::string identifier;
        std::string displayName;
        bool installed = false;

        static void codingKeys(auto& self, auto& key) {
            key("identifier", self.identifier);
            key("displayName", self.displayName);
            key("installed", self.installed);
        }
    };
    struct Result {
        std::vector<Entry> models;

        static void codingKeys(auto& self, auto& key) { key("models", self.models); }
    };
};

struct ModelInstall {
    static constexpr const char* name = "model_install";
    using Arguments = ModelArguments;
    struct Result {
        std::string identifier;
        bool installed = false;

        static void codingKeys(auto& self, auto& key) {
            key("identifier", self.identifier);
            key("installed", self.installed);
        }
    };
};

struct ModelRemove {
    static constexpr const char* name = "model_remove";
    using Arguments = ModelArguments;
    struct Result {
        std::string identifier;
        bool removed = false;

        static void codingKeys(auto& self, auto& key) {
            key("identifier", self.identifier);
            key("removed", self.removed);
        }
    };
};

} // namespace vostel_companion
