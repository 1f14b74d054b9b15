#include "companion/configs/ConfigError.h"

#include "kit/support/match.h"

namespace vostel_companion {

namespace {

std::string text(ConfigPosition position) {
    return "line " + std::to_string(position.line) + ", column " + std::to_string(position.column);
}

} // namespace

std::string ConfigError::description(std::string_view path) const {
    const std::string file{path};
    return VostelMCPKit::match(
        is,
        [&](const SyntaxError& error) {
            const std::string problem = error.problem.empty() ? "" : ": " + error.problem;
            return file + " is not valid " + error.language + " at " + text(error.at) + problem + ".";
        },
        [&](const NumberOutOfRange&) { return file + " contains a number that is too large."; },
        [&](const NotAnObject& error) {
            if (error.name.empty()) return file + " does not contain an object (" + text(error.at) + ").";
            return file + " has something other than an object under " + error.name + " (" + text(error.at) + ").";
        },
        [&](const Repeated& error) {
            return file + " contains " + error.name + " more than once, again at " + text(error.at) +
                   "; keep one of them and try again.";
        },
        [&](const UneditableForm& error) {
            return file + " writes " + error.name + " as " + error.form + " (" + text(error.at) +
                   "), which Vostel does not edit; change it by hand.";
        },
        [&](const Unverified&) { return file + " was not changed, because the edit could not be verified."; },
        [](const NotAFile& error) { return error.path + " is not a regular file."; },
        [](const TooLarge& error) {
            return error.path + " is larger than " + std::to_string(error.limit / (1024 * 1024)) +
                   " MiB, which no configuration file should be.";
        },
        [](const ReadOnly& error) { return error.path + " is read-only."; },
        [](const ConcurrentlyModified& error) {
            return error.path + " is being changed by another program; close that and try again.";
        },
        [](const posix::SystemError& error) { return error.description(); });
}

} // namespace vostel_companion
