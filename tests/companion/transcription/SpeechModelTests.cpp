#include "companion/transcription/SpeechModel.h"
#include "tests/companion/models/ModelFixture.h"

namespace vostel_companion {

TEST(SpeechModel, is_the_installed_model_of_the_language_or_the_systems_model) {
    ModelFixture fixture;
    const SpeechModel english{(fixture.folder / "system").string(), "en"};
    const SpeechModel german{fixture.installed().string(), "de"};
    EXPECT_EQ(chooseModel(fixture.models, "de"), english) << "known, but not installed";
    ASSERT_TRUE(fixture.models.install("de", {[](double) {}, [] { return false; }}));
    struct Row {
        const char* hint;
        const SpeechModel& model;
    };
    const Row rows[] = {{"", english},   {"auto", english}, {"AUTO", english}, {"en", english},  {"en-GB", english},
                        {"fr", english}, {"de", german},    {"DE", german},    {"de_CH", german}};
    for (const Row& row : rows) EXPECT_EQ(chooseModel(fixture.models, row.hint), row.model) << row.hint;

    for (const char* const language : {"", "auto"}) {
        fixture.writeCatalogue(ModelFixture::germanChecksum, language);
        EXPECT_EQ(chooseModel(fixture.models, language), english) << "a catalogue with such a model is refused";
    }
    writeFile(fixture.folder / "models.json", "{");
    EXPECT_EQ(chooseModel(fixture.models, "de"), english) << "transcription works without a readable catalogue";
    std::filesystem::remove_all(fixture.folder / "system");
    EXPECT_EQ(chooseModel(fixture.models, ""), (SpeechModel{"", "en"}))
        << "the folder is empty, so loading the model fails";
}

} // namespace vostel_companion
