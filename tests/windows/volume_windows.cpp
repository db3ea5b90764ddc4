#include "system_answers_windows.h"

// What makes the program find its files on another volume than Wine's.

namespace {

const mos::test::SystemAnswers answers(mos::test::Volume::MOS_TEST_VOLUME);

} // namespace
