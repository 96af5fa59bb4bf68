// The tests' own preferences, data folders and language, whatever the user's are.
#include <locale.h>

#include "tests/capi/support.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const capi_test::TemporaryFolder home;
  for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"})
    setenv(name, home.file(name).c_str(), 1);
  for (const char* name : {"LANGUAGE", "LC_MESSAGES", "LANG"}) unsetenv(name);
  setenv("LC_ALL", "C", 1);
  return RUN_ALL_TESTS();
}
