// The text of an XML property list.
#pragma once

#include <string>

namespace vostel_tests {

/// A property list whose dictionary has these members.
[[nodiscard]] inline std::string propertyList(const std::string& members) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
)" + members +
           "\n</dict>\n</plist>\n";
}

} // namespace vostel_tests
