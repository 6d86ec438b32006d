#include <gcrypt.h>

#include <cstdarg>
#include <string>

#include "runtime/crypto_fixture.h"
#include "runtime/keys/libgcrypt.h"

namespace {
gcry_handler_log_t handler;
void* handlerContext;
}  // namespace

// The linker leads the runtime's call here (--wrap): the library hands out no handler again.
extern "C" void __real_gcry_set_log_handler(gcry_handler_log_t set, void* context);
extern "C" void __wrap_gcry_set_log_handler(gcry_handler_log_t set, void* context) {
  handler = set;
  handlerContext = context;
  __real_gcry_set_log_handler(set, context);
}

namespace vexa::test {
namespace {

void log(int level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  handler(handlerContext, level, format, arguments);
  va_end(arguments);
}

class LibraryMessages : public CryptoTest {
 protected:
  // What a message of this level brings to the console.
  static std::string shown(int level) {
    ::testing::internal::CaptureStderr();
    log(level, "message %d of %s", level, "the library");
    return ::testing::internal::GetCapturedStderr();
  }
};

TEST_F(LibraryMessages, WarningsAndWorseAreShown) {
  ASSERT_TRUE(velmora::libraryReady());
  ASSERT_NE(handler, nullptr);
  for (const int level : {GCRY_LOG_WARN, GCRY_LOG_ERROR, GCRY_LOG_FATAL, GCRY_LOG_BUG}) {
    EXPECT_EQ(shown(level), "message " + std::to_string(level) + " of the library");
  }
}

TEST_F(LibraryMessages, NotesAreForNobody) {
  ASSERT_TRUE(velmora::libraryReady());
  ASSERT_NE(handler, nullptr);
  for (const int level : {+GCRY_LOG_CONT, +GCRY_LOG_INFO, GCRY_LOG_WARN - 1, +GCRY_LOG_DEBUG}) {
    EXPECT_EQ(shown(level), "") << level;
  }
}

}  // namespace
}  // namespace vexa::test
