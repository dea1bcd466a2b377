// What writing a document safely costs: the inventory of 1,001 products is
// written over its file N times, first the old way (truncate the file and
// write the text into it, which a kill or a full disk can leave torn), then
// with AtomicFile::replace (new file, fsync, rename, fsync of the folder).
// Run in a folder on tmpfs and in a folder on disk; prints both and the ratio.
//
//   doc_write_bench <folder> [iterations]
#include <sys/time.h>

#include <cstdio>
#include <cstdlib>

#include "String.h"
#include "io/AtomicFile.h"
#include "io/FileOutputStream.h"

static double nowSeconds() {
    timeval tv;
    gettimeofday(&tv, nullptr);
    return tv.tv_sec + tv.tv_usec / 1e6;
}

static String inventoryText(int products) {
    String text(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ZRUpdateClientSettings>\n<Inventory>\n");
    text.append(
        "<PlatformInfo os=\"Linux\" vendor=\"\" arch=\"x86_64\" version=\"6.1\"/>\n<Products>\n");
    for (int i = 1; i <= products; ++i) {
        char line[512];
        std::snprintf(
            line, sizeof line,
            "<InstalledProduct>\n<ProductInfo id=\"%d\" name=\"Product %d\" desc=\"Description "
            "of product %d\" installPath=\"/opt/Orvanta/p%d\" serialNo=\"SN%d\" parent=\"1000\" "
            "langCode=\"en\" OEM=\"\"/>\n<ZRVersionInfo major=\"%d\" minor=\"%d\" "
            "patchLevel=\"0\" buildNum=\"%d\" status=\"\" desc=\"\"/>\n</InstalledProduct>\n",
            i, i, i, i, i, i % 10, i % 7, i);
        text.append(line);
    }
    text.append("</Products>\n</Inventory>\n</ZRUpdateClientSettings>\n");
    return text;
}

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <folder> [iterations]\n", argv[0]);
        return 2;
    }
    const int iterations = argc > 2 ? std::atoi(argv[2]) : 200;
    const String path = String(argv[1]).append("/zr-inventory");
    const String text = inventoryText(1001);

    double start = nowSeconds();
    for (int i = 0; i < iterations; ++i) {
        FileOutputStream out(path.c_str(), FileOutputStream::REPLACE);
        out.write(text.c_str(), text.length());
        out.close();
    }
    const double inPlace = (nowSeconds() - start) / iterations;

    start = nowSeconds();
    for (int i = 0; i < iterations; ++i) AtomicFile::replace(path, text.c_str(), text.length());
    const double atomic = (nowSeconds() - start) / iterations;

    std::printf("%s: %d bytes, %d writes: in place %.3f ms, safe replace %.3f ms, ratio %.2f\n",
                argv[1], text.length(), iterations, inPlace * 1e3, atomic * 1e3, atomic / inPlace);
    return 0;
}
