// Command-line language: parse rules, the precedence of the option check,
// the option checks of the product and network commands.
#include "cli/CmdLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "StoreTestSupport.h"
#include "cli/NetworkCommands.h"
#include "cli/ProductCommands.h"

namespace {

// Owns an argv built from a list of words; the program name comes first.
class Args {
public:
    explicit Args(std::vector<std::string> words) : storage(std::move(words)) {
        storage.insert(storage.begin(), "ZRUpdate");
        for (auto& w : storage) pointers.push_back(&w[0]);
        pointers.push_back(nullptr);
    }
    int argc() const { return static_cast<int>(storage.size()); }
    char** argv() { return pointers.data(); }

private:
    std::vector<std::string> storage;
    std::vector<char*> pointers;
};

std::vector<std::pair<std::string, std::string>> parsed(std::vector<std::string> words) {
    Args args(std::move(words));
    CmdLine cmd(args.argc(), args.argv());
    cmd.parse();
    std::vector<std::pair<std::string, std::string>> out;
    EXPECT_EQ(cmd.getNames().size(), cmd.getValues().size());
    for (int i = 0; i < cmd.getNames().size(); ++i) {
        out.emplace_back(cmd.getNames()[i].c_str(), cmd.getValues()[i].c_str());
    }
    return out;
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

struct CheckResult {
    bool ok;
    std::string output;
};

CheckResult check(std::vector<std::string> words) {
    PendingNetSettings() = NetSettings();
    Args args(std::move(words));
    CmdLine cmd(args.argc(), args.argv());
    testing::internal::CaptureStdout();
    bool ok = checkOptions(cmd);
    fflush(stdout);
    return {ok, testing::internal::GetCapturedStdout()};
}

}  // namespace

TEST(CmdLineParse, SplitsNamesAndValues) {
    EXPECT_EQ(parsed({}), Pairs{});
    EXPECT_EQ(parsed({"-r", "--id", "5", "--name", "x y"}),
              (Pairs{{"r", ""}, {"id", "5"}, {"name", "x y"}}));
    // A value can never begin with "-": the next option takes its place.
    EXPECT_EQ(parsed({"--id", "--name", "x"}), (Pairs{{"id", ""}, {"name", "x"}}));
    EXPECT_EQ(parsed({"-S", "--timeout", "-5"}), (Pairs{{"S", ""}, {"timeout", ""}, {"5", ""}}));
    // The last option has no candidate value.
    EXPECT_EQ(parsed({"-s", "--id"}), (Pairs{{"s", ""}, {"id", ""}}));
    // Stray words and a lone "-" are ignored; "--" is an option named "-".
    EXPECT_EQ(parsed({"stray", "-", "--", "x", "-v"}), (Pairs{{"-", "x"}, {"v", ""}}));
    // Options are never combined, and repeats are kept in order.
    EXPECT_EQ(parsed({"-ru", "--id", "1", "--id", "2"}),
              (Pairs{{"ru", ""}, {"id", "1"}, {"id", "2"}}));
    // A value that is a lone "-" or empty is a value, not an option.
    EXPECT_EQ(parsed({"--name", "-", "--desc", ""}), (Pairs{{"name", "-"}, {"desc", ""}}));
    // Three dashes leave one in the name.
    EXPECT_EQ(parsed({"---x", "v"}), (Pairs{{"-x", "v"}}));
}

TEST(CmdLineParse, LookupIsExactAndReadsTheFirstOccurrence) {
    Args args({"--id", "1", "--Name", "n", "--id", "2", "-d"});
    CmdLine cmd(args.argc(), args.argv());
    cmd.parse();
    String value("unchanged");
    EXPECT_TRUE(cmd.getOption("id", value));
    EXPECT_STREQ(value.c_str(), "1");
    EXPECT_FALSE(cmd.getOption("name", value));  // case-sensitive
    EXPECT_FALSE(cmd.getOption("", value));
    EXPECT_FALSE(cmd.getOption("i", value));  // no prefix matching
    EXPECT_TRUE(cmd.getOption("d", value));
    EXPECT_STREQ(value.c_str(), "");
    EXPECT_EQ(cmd.optionCount(), 4);
    EXPECT_TRUE(cmd.hasEither("x", "Name"));
    EXPECT_FALSE(cmd.hasEither("n", "name"));
}

// The prefix rule is the one overridable piece; parse must go through it.
class SlashCmdLine : public CmdLine {
public:
    using CmdLine::CmdLine;
    int optionPrefixLength(const String& arg) const override {
        return arg.startsWith("/") && arg.length() > 1 ? 1 : 0;
    }
};

TEST(CmdLineParse, ParseUsesTheOverriddenPrefixRule) {
    Args args({"/id", "-5", "--x"});
    SlashCmdLine cmd(args.argc(), args.argv());
    cmd.parse();
    String value;
    ASSERT_TRUE(cmd.getOption("id", value));
    EXPECT_STREQ(value.c_str(), "-5");
    EXPECT_EQ(cmd.optionCount(), 1);
}

TEST(CheckOptions, PrecedenceOfCommands) {
    // Nothing recognised: false, and nothing printed by the check itself.
    EXPECT_EQ(check({}).ok, false);
    EXPECT_EQ(check({}).output, "");
    EXPECT_EQ(check({"-ru", "--id", "1"}).ok, false);
    EXPECT_EQ(check({"stray"}).ok, false);

    // Registration wins over everything and validates only product options.
    auto r = check({"-u", "-r", "--type", "ftp"});
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.output, "ZRUpdate: no product id is specified!\n");
    r = check({"-S", "--register", "--id", "5", "--name", "x", "--path", "/p", "--version", "1.0",
               "--type", "ftp"});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.output, "");

    // Deregistration comes next and needs only id and name.
    r = check({"-d", "--id", "5", "-S", "--timeout", "x"});
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.output, "ZRUpdate: no product name is specified!\n");
    EXPECT_TRUE(check({"--deregister", "--id", "5", "--name", "x"}).ok);

    // Status, update, ping and package need no checks and beat -S.
    for (const char* cmd :
         {"-s", "--status", "-u", "--update", "-p", "--ping", "-P", "--package"}) {
        r = check({"-S", "--timeout", "bad", cmd});
        EXPECT_TRUE(r.ok) << cmd;
        EXPECT_EQ(r.output, "") << cmd;
    }

    // -S is checked before -v, -M and -h.
    r = check({"-v", "-M", "-h", "-S", "--type", "ftp"});
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.output, "ZRUpdate: unsupported protocol type: 'ftp'\n");
    EXPECT_TRUE(check({"--set", "--type", "HTTP"}).ok);

    // -v and -M without checks, before help (so no usage text).
    for (const char* cmd : {"-v", "--version", "-M", "--moduleverify"}) {
        r = check({cmd, "-h", "--type", "ftp"});
        EXPECT_TRUE(r.ok) << cmd;
        EXPECT_EQ(r.output, "") << cmd;
    }

    // Help prints the usage text and succeeds.
    for (const char* cmd : {"-h", "--help"}) {
        r = check({cmd});
        EXPECT_TRUE(r.ok);
        EXPECT_EQ(r.output, usageText());
    }
}

TEST(CheckOptions, ProductOptionMessages) {
    auto msg = [](std::vector<std::string> words) { return check(std::move(words)).output; };
    EXPECT_EQ(msg({"-r", "--id"}), "ZRUpdate: no product id is specified!\n");
    EXPECT_EQ(msg({"-r", "--id", "abc", "--name", "n"}),
              "ZRUpdate: invalid product id is specified!\n");
    EXPECT_EQ(msg({"-r", "--id", "-1", "--name", "n"}), "ZRUpdate: no product id is specified!\n");
    EXPECT_EQ(msg({"-r", "--id", "7", "--name"}), "ZRUpdate: no product name is specified!\n");
    EXPECT_EQ(msg({"-r", "--id", "7", "--name", "n", "--version", "1"}),
              "ZRUpdate: no product install path is specified!\n");
    EXPECT_EQ(msg({"-r", "--id", "7", "--name", "n", "--path", "/p"}),
              "ZRUpdate: no product version is specified!\n");
    EXPECT_EQ(msg({"-r", "--id", "7", "--name", "n", "--path", "/p", "--version", "1.x"}),
              "ZRUpdate: invalid product version is specified!\n");
    EXPECT_EQ(msg({"-d", "--id", "x7", "--name", "n"}),
              "ZRUpdate: invalid product id is specified!\n");
}

TEST(CheckOptions, ProductRecordIsFilled) {
    auto described = [](std::vector<std::string> words) {
        Args args(std::move(words));
        CmdLine cmd(args.argc(), args.argv());
        cmd.parse();
        ZRProduct p;
        return checkProductOptions(cmd, p, true) ? std::string(describeProduct(p).c_str()) : "";
    };
    EXPECT_EQ(described({"-r",      "--id",           "42",     "--name",
                         "Scanner", "--path",         "/opt/s", "--desc",
                         "d",       "--lang-code",    "en",     "--oem",
                         "o",       "--serialno",     "SN",     "--parent",
                         "1,2",     "--version",      "2.5",    "--version-status",
                         "beta",    "--version-desc", "vd"}),
              "ProductID:   42\nProductName: Scanner\nInstallpath: /opt/s\nDescription: d\n"
              "LangCode:    en\nOEM:    o\nParentIDs:   1,2\nSerialNo:    SN\n");
    // Only the required options: three lines.
    EXPECT_EQ(described({"-r", "--id", "3", "--name", "n", "--path", "/p", "--version", "1"}),
              "ProductID:   3\nProductName: n\nInstallpath: /p\n");
}

TEST(CheckOptions, NetworkOptionMessages) {
    auto msg = [](std::vector<std::string> words) {
        words.insert(words.begin(), "-S");
        auto r = check(std::move(words));
        EXPECT_EQ(r.ok, r.output.empty());
        return r.output;
    };
    EXPECT_EQ(msg({"--server"}), "ZRUpdate: no server host is specified!\n");
    EXPECT_EQ(msg({"--type"}), "ZRUpdate: no protocol type is specified!\n");
    EXPECT_EQ(msg({"--type", "%s%n"}), "ZRUpdate: unsupported protocol type: '%s%n'\n");
    EXPECT_EQ(msg({"--isUsingProxy"}), "ZRUpdate: no isUsingProxy is specified!\n");
    EXPECT_EQ(msg({"--isUsingProxy", "yes"}), "ZRUpdate: unsupported isUsingProxy: 'yes'\n");
    EXPECT_EQ(msg({"--proxyport", "80a"}), "ZRUpdate: invalid proxyport is specified!\n");
    EXPECT_EQ(msg({"--timeout", "-5"}), "ZRUpdate: no connection timeout is specified!\n");
    EXPECT_EQ(msg({"--timeout", "ten"}), "ZRUpdate: invalid connection timeout is specified!\n");
    EXPECT_EQ(msg({"--type", "hTTpS", "--isUsingProxy", "1", "--timeout", "0"}), "");
    EXPECT_EQ(msg({"--user", "bob:pw", "--keeporiginal", "x", "--proxyport"}), "");
}

TEST(CheckOptions, NetworkOptionsFillThePendingSettings) {
    ASSERT_TRUE(check({"-S", "--server", ",a,,b,", "--type", "HTTP", "--isUsingProxy", "1",
                       "--proxyserver", "px", "--proxyport", "3128", "--proxyuser", "u",
                       "--proxypass", "pw", "--timeout", "30", "--mac", "00:11"})
                    .ok);
    EXPECT_EQ(summary(PendingNetSettings()),
              "HTTP proxy 1 px:3128 u/pw user / timeout 30 mac 00:11 servers a b saved a b");

    // --keeporiginal 1 keeps the stored saved list (left empty here); untouched
    // fields keep their fresh values.
    ASSERT_TRUE(check({"-S", "--server", "h1", "--keeporiginal", "1"}).ok);
    EXPECT_EQ(summary(PendingNetSettings()),
              " proxy  :0 / user / timeout -1 mac  servers h1 saved");
    ASSERT_TRUE(check({"-S", "--server", "h1", "--keeporiginal", "2", "--mac", ""}).ok);
    EXPECT_EQ(summary(PendingNetSettings()),
              " proxy  :0 / user / timeout -1 mac  servers h1 saved h1");
}
