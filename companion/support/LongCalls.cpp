#include "companion/support/LongCalls.h"

#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"

#include <fstream>
#include <iterator>
#include <system_error>

namespace vostel_companion {

namespace {

struct LongCallList {
    std::vector<LongCall> calls;

    static void codingKeys(auto& self, auto& key) { key("calls", self.calls); }
};

} // namespace

LongCalls::LongCalls(std::filesystem::path file, Clock now) : file_{std::move(file)}, now_{std::move(now)} {
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
}

LongCalls::Call::Call(LongCalls& calls, std::string tool, std::string client) : calls_{calls} {
    call_.tool = std::move(tool);
    call_.client = std::move(client);
    call_.startedAt = std::chrono::floor<std::chrono::milliseconds>(calls.now_()).time_since_epoch().count();
}

LongCalls::Call::~Call() {
    if (!number_) return;
    const std::lock_guard lock{calls_.mutex_};
    calls_.calls_.erase(*number_);
    calls_.write();
}

void LongCalls::Call::report(const Progress& progress) {
    call_.fraction = progress.fraction;
    call_.message = progress.message;
    const std::lock_guard lock{calls_.mutex_};
    const bool isNew = !number_;
    if (isNew) number_ = calls_.nextNumber_++;
    calls_.calls_[*number_] = call_;
    if (isNew || calls_.now_() - calls_.written_ >= interval) calls_.write();
}

void LongCalls::write() {
    written_ = now_();
    LongCallList list;
    for (const auto& [number, call] : calls_) list.calls.push_back(call);
    VostelMCPKit::Bytes text;
    if (!VostelMCPKit::writeJSON(VostelMCPKit::encode(list), text)) return;
    // Renamed into place, so that readers find the old list or the new one. Not flushed to the disk, because the list
    // is of no use after a crash.
    const std::filesystem::path fresh = file_.string() + ".new";
    std::ofstream{fresh, std::ios::binary | std::ios::trunc} << text.text() << "\n";
    std::error_code ignored;
    std::filesystem::rename(fresh, file_, ignored);
}

std::vector<LongCall> LongCalls::readFrom(const std::filesystem::path& file) {
    std::ifstream stream{file, std::ios::binary};
    const std::string text{std::istreambuf_iterator<char>{stream}, {}};
    const auto value = VostelMCPKit::readJSON(text);
    if (!value) return {};
    return VostelMCPKit::decode<LongCallList>(*value).value_or(LongCallList{}).calls;
}

} // namespace vostel_companion
