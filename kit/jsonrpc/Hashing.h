// Hashing of records, consistent with their equality: a record hashes as its JSON form. No program of ours hashes
// records; it is for applications that keep them in unordered containers.
#pragma once

#include "kit/jsonrpc/Codec.h"

namespace VostelMCPKit {

/// A record, as Codec.h describes it.
template <class T>
concept HasCodingKeys = requires(const T& record, KeyWriter& writer) { T::codingKeys(record, writer); };

} // namespace VostelMCPKit

template <VostelMCPKit::HasCodingKeys Record>
struct std::hash<Record> {
    std::size_t operator()(const Record& record) const noexcept {
        return VostelMCPKit::Codec<Record>::encode(record).hash();
    }
};
