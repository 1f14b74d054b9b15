// Why a client's configuration file could not be read or edited. In every case the file is unchanged.
#pragma once

#include "companion/configs/ConfigText.h"
#include "posix/SystemError.h"

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace vostel_companion {

struct ConfigError {
    /// The text breaks the grammar of `language`; `problem` is a clause, or empty.
    struct SyntaxError {
        std::string language;
        ConfigPosition at;
        std::string problem;
        bool operator==(const SyntaxError&) const = default;
    };
    /// A number in the text is too large for the JSON reader.
    struct NumberOutOfRange {
        bool operator==(const NumberOutOfRange&) const = default;
    };
    /// The member `name` must be an object, because it contains our entry, but it is not. An empty `name` is the whole
    /// document.
    struct NotAnObject {
        std::string name;
        ConfigPosition at;
        bool operator==(const NotAnObject&) const = default;
    };
    /// A name that occurs twice but may occur once. `at` is the second place.
    struct Repeated {
        std::string name;
        ConfigPosition at;
        bool operator==(const Repeated&) const = default;
    };
    /// Valid, but in a form that cannot be edited safely; `form` says which.
    struct UneditableForm {
        std::string name;
        ConfigPosition at;
        std::string form;
        bool operator==(const UneditableForm&) const = default;
    };
    /// The edited text, read again, does not have the expected content. This is a bug of ours, found before the file
    /// was changed.
    struct Unverified {
        bool operator==(const Unverified&) const = default;
    };

    /// `path` is not a regular file.
    struct NotAFile {
        std::string path;
        bool operator==(const NotAFile&) const = default;
    };
    struct TooLarge {
        std::string path;
        std::size_t limit = 0;
        bool operator==(const TooLarge&) const = default;
    };
    /// The file or folder at `path` may not be changed.
    struct ReadOnly {
        std::string path;
        bool operator==(const ReadOnly&) const = default;
    };
    /// Another program changed the file during each of our attempts.
    struct ConcurrentlyModified {
        std::string path;
        bool operator==(const ConcurrentlyModified&) const = default;
    };

    std::variant<SyntaxError, NumberOutOfRange, NotAnObject, Repeated, UneditableForm, Unverified, NotAFile, TooLarge,
                 ReadOnly, ConcurrentlyModified, posix::SystemError>
        is;

    template <class Case>
        requires(!std::same_as<std::remove_cvref_t<Case>, ConfigError>)
    ConfigError(Case&& error) : is(std::forward<Case>(error)) {}

    /// One full sentence for the user about the configuration file at `path`.
    [[nodiscard]] std::string description(std::string_view path) const;

    bool operator==(const ConfigError&) const = default;
};

} // namespace vostel_companion
