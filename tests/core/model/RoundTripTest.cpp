#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "tests/core/model/Generators.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

RC_GTEST_PROP(ProjectInfoJson, ReadsBackWhatItWrote, ()) {
    const ProjectInfo info = test::anyInfo();
    const auto text = encodeProjectInfo(info);
    RC_ASSERT(text.has_value());
    const auto decoded = decodeProjectInfo(*text);
    RC_ASSERT(decoded.has_value());
    RC_ASSERT(*decoded == info);
    RC_ASSERT(encodeProjectInfo(*decoded).value() == *text); // 0 == -0, but not as text: equal bit for bit
}

RC_GTEST_PROP(Events, ReadBackAsWritten, ()) {
    const RecordingEvents events = test::anyEvents();
    const TemporaryFolder folder;
    const auto file = folder / "events.json";
    RC_ASSERT(writeEvents(events, file).has_value());
    const auto read = readEvents(file);
    RC_ASSERT(read.has_value());
    RC_ASSERT(*read == events);
    RC_ASSERT(encodeEvents(*read).value()
              == encodeEvents(events).value()); // 0 == -0, but not as text: equal bit for bit
}

RC_GTEST_PROP(Events, EveryTruncationIsRefused, ()) {
    const std::string text = encodeEvents(test::anyEvents()).value_or("");
    RC_ASSERT(!decodeEvents(std::string_view(text).substr(0, test::anyIndex(0, text.size()))));
}

} // namespace
} // namespace glintro
