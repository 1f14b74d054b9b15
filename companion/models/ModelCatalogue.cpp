#include "companion/models/ModelCatalogue.h"

#include "companion/models/LanguageHint.h"
#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/support/ASCII.h"
#include "posix/FileIO.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t longestIdentifier = 64;
constexpr std::size_t largestCatalogue = 1 << 20;
constexpr std::size_t mostFilesInList = 10'000;

struct Catalogue {
    std::vector<ModelDescription> models;

    static void codingKeys(auto& self, auto& key) { key("models", self.models); }
};

using VostelMCPKit::asciiLowerCase;
using VostelMCPKit::hexDigit;

bool isAlphanumeric(char character) {
    return VostelMCPKit::isASCIILetter(character) || VostelMCPKit::isASCIIDigit(character);
}

bool isSHA256(std::string_view text) {
    return text.size() == 64 && std::ranges::all_of(text, [](char digit) { return hexDigit(digit).has_value(); });
}

/// The path in a file: URL (RFC 8089). `rest` is the URL without its scheme. Absent if the URL names another machine or
/// no path.
std::optional<std::string> pathOfFileURL(std::string_view rest) {
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        if (rest.starts_with("localhost/")) rest.remove_prefix(std::string_view{"localhost"}.size());
    }
    if (!rest.starts_with("/") || rest.find_first_of("?#") != std::string_view::npos) return std::nullopt;
    std::string path;
    for (; !rest.empty(); rest.remove_prefix(1)) {
        if (rest.front() != '%') {
            path += rest.front();
            continue;
        }
        if (rest.size() < 3) return std::nullopt;
        const auto high = hexDigit(rest[1]);
        const auto low = hexDigit(rest[2]);
        if (!high || !low || (*high == 0 && *low == 0)) return std::nullopt;
        path += static_cast<char>(*high * 16 + *low);
        rest.remove_prefix(2);
    }
    return path;
}

std::optional<std::string> localPath(const std::string& source, const fs::path& folder) {
    if (source.empty() || source.find('\0') != std::string::npos) return std::nullopt;
    if (asciiLowerCase(source.substr(0, 5)) == "file:") return pathOfFileURL(std::string_view{source}.substr(5));
    if (source.find("://") != std::string::npos) return std::nullopt;
    return (folder / source).lexically_normal().string();
}

/// Whether `name` is the path of a file inside a folder, in the form that a checksum list contains.
bool isRelativePath(std::string_view name) {
    const bool isListable = std::ranges::all_of(name, [](char character) {
        return static_cast<unsigned char>(character) >= 0x20 && character != 0x7F && character != '\\';
    });
    if (!isListable) return false;
    while (true) {
        const std::string_view component = name.substr(0, name.find('/'));
        if (component.empty() || component == "." || component == "..") return false;
        if (component.size() == name.size()) return true;
        name.remove_prefix(component.size() + 1);
    }
}

/// The source in a form that isLink recognises. Absent if it is not a link that Vostel downloads from.
std::optional<std::string> httpsLink(const std::string& source) {
    constexpr std::string_view scheme = "https://";
    if (asciiLowerCase(source.substr(0, scheme.size())) != scheme) return std::nullopt;
    const std::string_view rest = std::string_view{source}.substr(scheme.size());
    const std::string_view host = rest.substr(0, rest.find('/'));
    const bool isPlain = std::ranges::all_of(rest, [](char character) { return character > ' ' && character < 0x7F; });
    // A password in it would be repeated in error texts, and a query would not end in the name of a file.
    if (host.empty() || host == rest || !isPlain || rest.find_first_of("@?#\\") != std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view name = rest.substr(rest.rfind('/') + 1);
    if (!name.empty() && !isRelativePath(name)) return std::nullopt;
    return std::string{scheme}.append(rest);
}

std::expected<void, std::string> validateFiles(ModelDescription& model) {
    const bool isFolder = model.isLink() && model.source.ends_with('/');
    if (isFolder != !model.files.empty()) {
        return std::unexpected(isFolder ? "files is missing, and source is the link of a folder"
                                        : "files is given, but source is not a link that ends in '/'");
    }
    if (model.files.size() > mostFilesInList) return std::unexpected("files has more than 10000 elements");
    if (!std::ranges::all_of(model.files, isRelativePath)) {
        return std::unexpected("files has something other than relative paths");
    }
    std::ranges::sort(model.files);
    if (std::ranges::adjacent_find(model.files) != model.files.end()) {
        return std::unexpected("files has one path twice");
    }
    return {};
}

/// Checks an entry and fills in its defaults. The error is a clause that begins with the wrong key.
std::expected<void, std::string> validateEntry(ModelDescription& model, const fs::path& folder) {
    if (!isModelIdentifier(model.identifier)) {
        return std::unexpected(
            "identifier is not 1 to 64 letters, digits, '-', '_' and '.' that begin with a letter or digit");
    }
    if (asciiLowerCase(model.identifier) == systemModelIdentifier) {
        return std::unexpected("identifier is en-us, which is the system's own model");
    }
    // A model whose language is empty or "auto" would be chosen for every call that names no language.
    if (model.language && !isLanguageCode(*model.language)) {
        return std::unexpected("language is not a code such as 'de'");
    }
    if (model.displayName.empty()) model.displayName = model.identifier;
    auto source = localPath(model.source, folder);
    if (!source) source = httpsLink(model.source);
    if (!source)
        return std::unexpected("source is neither a path nor a file: URL nor an https link to a file or folder");
    model.source = *std::move(source);
    if (auto valid = validateFiles(model); !valid) return valid;
    if (!isSHA256(model.sha256)) return std::unexpected("sha256 is not 64 hexadecimal digits");
    model.sha256 = asciiLowerCase(model.sha256);
    return {};
}

} // namespace

bool isModelIdentifier(std::string_view identifier) {
    // The rule for the first character excludes the store's own files and folders, whose names begin with a dot.
    return !identifier.empty() && identifier.size() <= longestIdentifier && isAlphanumeric(identifier.front()) &&
           std::ranges::all_of(identifier, [](char character) {
               return isAlphanumeric(character) || character == '-' || character == '_' || character == '.';
           });
}

std::expected<std::vector<ModelDescription>, std::string> parseModelCatalogue(std::string_view text,
                                                                              const fs::path& folder) {
    const auto value = VostelMCPKit::readJSON(text);
    if (!value) return std::unexpected(value.error().description());
    auto catalogue = VostelMCPKit::decode<Catalogue>(*value);
    if (!catalogue) return std::unexpected(catalogue.error().description());

    std::vector<std::string> identifiers;
    for (ModelDescription& model : catalogue->models) {
        if (auto valid = validateEntry(model, folder); !valid) {
            return std::unexpected("models[" + std::to_string(identifiers.size()) + "]." + valid.error());
        }
        // A file system that ignores letter case would give both the same folder.
        identifiers.push_back(asciiLowerCase(model.identifier));
    }
    std::ranges::sort(identifiers);
    if (const auto twin = std::ranges::adjacent_find(identifiers); twin != identifiers.end()) {
        return std::unexpected("two models are called " + *twin);
    }
    return std::move(catalogue->models);
}

std::expected<std::vector<ModelDescription>, ModelError> readModelCatalogue(const fs::path& path) {
    const posix::FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    if (!file.isOpen() && errno == ENOENT) return std::vector<ModelDescription>{};
    if (!file.isOpen()) return std::unexpected(ModelError{posix::systemError("open", path).error()});
    const auto text = posix::readRest(file, largestCatalogue);
    if (!text) {
        return std::unexpected(ModelError{posix::systemError("read", path, text.error().errorNumber).error()});
    }
    if (text->size() > largestCatalogue) {
        return std::unexpected(ModelError{ModelError::BadCatalogue{path.string(), "it is larger than 1 MiB"}});
    }
    auto models = parseModelCatalogue(*text, path.parent_path());
    if (!models) return std::unexpected(ModelError{ModelError::BadCatalogue{path.string(), std::move(models.error())}});
    return *std::move(models);
}

} // namespace vostel_companion
