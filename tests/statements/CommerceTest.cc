// OxCOMMERCE over the example's test payment method and libraries that lack
// entry points (the listings of scripts-commerce/); system libraries as a
// library finds them; the registered libraries in oxin_config.
#include <gtest/gtest.h>

#include <string>

#include "extensions/CommerceLibraryManager.h"
#include "extensions/SystemLibraryManager.h"
#include "extensions/oxin_extension.h"
#include "tests/support/ScriptFiles.h"
#include "variables/DynamicSystemVariables.h"

namespace {

const std::string kScripts = OXIN_SOURCE_DIR "/tests/statements/scripts-commerce/";

// An application with the commerce methods of the listings.
class CommerceApplication : public TestApplication {
  public:
    CommerceApplication() {
        commercemanager()->RegisterDSO("testpay", OXIN_TESTPAY_LIBRARY);
        commercemanager()->RegisterDSO("nulls", OXIN_NULL_ENTRIES_LIBRARY);
        commercemanager()->RegisterDSO("noerror", OXIN_NO_ERROR_ENTRY_LIBRARY);
        systemlibrarymanager()->RegisterDSO("gateway", OXIN_TESTPAY_LIBRARY);
        systemlibrarymanager()->RegisterDSO("missing", "/nonexistent/libmissing.so");
    }
};

class CommerceScriptTest : public ::testing::TestWithParam<std::string> {};

TEST_P(CommerceScriptTest, PrintsWhatItsOutFileSays) {
    CommerceApplication application;
    ExpectListingOutput(kScripts + GetParam(), &application);
}

INSTANTIATE_TEST_SUITE_P(Scripts, CommerceScriptTest, ::testing::ValuesIn(listing_names(kScripts)),
                         [](const auto& info) { return test_name(info.param); });

std::string system_error(OxinVM* vm, SystemLibrary* library) {
    int length = -1;
    const char* text = oxSystemLibrary_Error(vm, library, &length);
    return std::string(text, length);
}

TEST(SystemLibraryTest, ALibraryFindsAnotherByCodeAndLearnsWhyNot) {
    CommerceApplication application;
    ScriptRun run(".segment 0\n.end\n", &application);
    ASSERT_EQ(run.error(), "");
    SystemLibrary* gateway = oxProgram_SystemLibrary(run.vm(), "GATEWAY");
    ASSERT_NE(gateway, nullptr);
    EXPECT_EQ(oxProgram_SystemLibrary(run.vm(), "gateway"), gateway);
    EXPECT_NE(oxSystemLibrary_GetFunction(gateway, "oxin_commerce_library"), nullptr);
    EXPECT_EQ(oxSystemLibrary_GetFunction(gateway, "no_such_symbol"), nullptr);
    EXPECT_EQ(system_error(run.vm(), gateway), "Unknown symbol 'no_such_symbol'");

    EXPECT_EQ(oxProgram_SystemLibrary(run.vm(), "other"), nullptr);
    EXPECT_EQ(system_error(run.vm(), nullptr), "System library 'other' is not configured");
    EXPECT_EQ(oxProgram_SystemLibrary(run.vm(), "missing"), nullptr);
    EXPECT_NE(system_error(run.vm(), nullptr).find("/nonexistent/libmissing.so"),
              std::string::npos);
}

TEST(LibraryListsTest, ScriptsSeeTheRegisteredLibrariesInTheConfiguration) {
    CommerceApplication application;
    StringOutput output;
    application.SetOutput(&output);
    // Each row prints one member of oxin_config, an element of it, or the
    // number of its elements.
    ScriptRun run(
        ".segment 0\n"
        " pushs oxin_config\n pushc \"commerce_list\"\n memb_readonly\n pushi 3\n"
        " elem_readonly\n out\n"
        " pushs oxin_config\n pushc \"systemlib_list\"\n memb_readonly\n pushi 2\n"
        " elem_readonly\n out\n"
        " pushs oxin_config\n pushc \"commerce_lookup\"\n memb_readonly\n pushc \"NULLS\"\n"
        " memb_readonly\n out\n"
        " pushs oxin_config\n pushc \"commerce_lookup\"\n memb_readonly\n pushc \"gateway\"\n"
        " memb_readonly\n out\n"
        " pushs oxin_config\n pushc \"systemlib_lookup\"\n memb_readonly\n pushc \"gateway\"\n"
        " memb_readonly\n out\n"
        " pushs oxin_config\n pushc \"database_lookup\"\n memb_readonly\n pushc \"testpay\"\n"
        " memb_readonly\n out\n"
        " pushs oxin_config\n pushc \"database_list\"\n memb_readonly\n pushi 1\n"
        " elem_readonly\n isnull\n out\n"
        ".end\n",
        &application);
    ASSERT_EQ(run.error(), "");
    run.system().SetVariable(new ConfigurationAggregateVariable(&application));
    EXPECT_EQ(run.Go(), 1);
    EXPECT_EQ(output.text(), "noerrormissing10101");
    application.SetOutput(nullptr);
}

}  // namespace
