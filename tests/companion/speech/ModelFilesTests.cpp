#include "companion/speech/ModelFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <vector>

namespace vostel_companion {

TEST(ModelFiles, are_found_by_their_names_if_none_is_missing_or_ambiguous) {
    struct Row {
        const char* when;
        std::vector<const char*> files;
        bool isModel;
    };
    const std::vector<const char*> german = {"de/mdef", "de/feat.params", "de.lm.bin", "deutsch.dict"};
    const auto with = [&](std::initializer_list<const char*> more) {
        std::vector<const char*> files = german;
        files.insert(files.end(), more.begin(), more.end());
        return files;
    };
    const Row rows[] = {
        {"whole", german, true},
        {"with other things in it", with({"README", "de-phone.lm.bin", "notes/mdef"}), true},
        {"nothing", {}, false},
        {"no acoustic model", {"de.lm.bin", "deutsch.dict"}, false},
        {"an incomplete acoustic model", {"de/mdef", "de.lm.bin", "deutsch.dict"}, false},
        {"no language model", {"de/mdef", "de/feat.params", "deutsch.dict"}, false},
        {"a language model for something else", {"de/mdef", "de/feat.params", "fr.lm.bin", "deutsch.dict"}, false},
        {"no dictionary", {"de/mdef", "de/feat.params", "de.lm.bin"}, false},
        {"two dictionaries", with({"zweites.dict"}), false},
        {"two acoustic models", with({"at/mdef", "at/feat.params"}), false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.when);
        const vostel_tests::TemporaryFolder folder;
        for (const char* file : row.files) vostel_tests::writeFile(folder.path() / file, "");
        const auto found = ModelFiles::in(folder.path());
        ASSERT_EQ(found.has_value(), row.isModel);
        if (!found) continue;
        EXPECT_EQ(*found,
                  (ModelFiles{folder.path() / "de", folder.path() / "de.lm.bin", folder.path() / "deutsch.dict"}));
    }
    EXPECT_EQ(ModelFiles::in("/nowhere"), std::nullopt);
    EXPECT_EQ(ModelFiles::in(""), std::nullopt);
}

} // namespace vostel_companion
