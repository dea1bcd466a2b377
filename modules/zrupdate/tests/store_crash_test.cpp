// A process killed in the middle of changing the inventory must leave the
// whole previous document or the whole new one, never a cut-off file that
// would stop the next start-up with a broken inventory.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "StoreTestSupport.h"
#include "store/ZRUpdateStore.h"

namespace {

const std::string BEFORE =
    xmlDecl() +
    "<Inventory>\n<PlatformInfo os=\"Linux\" vendor=\"\" arch=\"x86_64\" version=\"6.1\"/>\n"
    "<Products/>\n</Inventory>\n";

// Adds and removes one large product, in turns, until it is killed.
[[noreturn]] void changeForever(const std::string& file) {
    ZRUpdateStore store(String(file.c_str()));
    if (!store.load(file.c_str())) _exit(2);
    ZRProduct p;
    p.info.id = 5;
    p.info.name = "Large";
    p.info.desc = String(std::string(256 * 1024, 'd').c_str());
    p.version = ZRVersionInfo(String("1.0"));
    // The previous round may have been killed with the product stored.
    for (ZRProduct found;;) {
        bool stored = store.findProduct(5, found);
        if (!(stored ? store.removeProduct(5) : store.addProduct(p))) _exit(3);
    }
}

TEST(StoreCrashTest, AKilledChangeLeavesAWholeDocument) {
    ScratchDir dir;
    std::string file = dir.file("zr-inventory");
    writeFile(file, BEFORE);
    for (int round = 0; round < 12; round++) {
        pid_t child = fork();
        ASSERT_NE(-1, child);
        if (child == 0) changeForever(file);
        // Kill points spread over the add and remove cycle.
        usleep(5000 + (round * 7919) % 40000);
        kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        ASSERT_TRUE(WIFSIGNALED(status))
            << "the changing process ended on its own, status " << status;

        ZRUpdateStore store(String(file.c_str()));
        ASSERT_TRUE(store.load(file.c_str())) << "round " << round << ": document cut off";
        Vector<ZRProduct> products;
        int count = store.getProducts(products);
        ASSERT_TRUE(count == 0 || count == 1) << count;
        if (count == 1) {
            EXPECT_EQ(256 * 1024, products.elementAt(0).info.desc.length());
        } else {
            EXPECT_EQ(BEFORE, readFile(file));
        }
    }
    // The store goes on working on what the kills left.
    ZRUpdateStore store(String(file.c_str()));
    ASSERT_TRUE(store.load(file.c_str()));
    ZRProduct left;
    if (store.findProduct(5, left)) {
        ASSERT_TRUE(store.removeProduct(5));
    }
    EXPECT_EQ(BEFORE, readFile(file));
}

}  // namespace
