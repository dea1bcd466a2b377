#include "cli/ProductCommands.h"

#include <memory>
#include <string>
#include <unordered_map>

#include "Exception.h"
#include "Vector.h"
#include "cli/CmdLine.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "store/ZRUpdateStore.h"
#include "store/ZRXmlDocument.h"
#include "xml/XMLNode.h"
#include "xml/XMLTree.h"

namespace {

// The value of an option that is present and not empty.
bool nonEmptyOption(CmdLine& cmdLine, const char* name, String& value) {
    return cmdLine.getOption(name, value) && !value.isEmpty();
}

void appendLine(String& out, const char* label, const String& value) {
    out.append(label).append(value).append("\n");
}

void appendOptionalLine(String& out, const char* label, const String& value) {
    if (!value.isEmpty()) appendLine(out, label, value);
}

String idText(long id) {
    String text;
    text.append(id);
    return text;
}

// "<block> (<version text>)": the tail of the register and deregister
// messages.
String describeWithVersion(const ZRProduct& p, const String& versionText) {
    String text = describeProduct(p);
    text.append(" (").append(versionText).append(")");
    return text;
}

String versionLine(const ZRProduct& p) {
    String line("Version:     ");
    line.append(p.version.version).append("\n");
    return line;
}

const char kNoProducts[] = "No any products exist in inventory";

// The last-update lines of every product in "conf/zr-lastupdate", read once.
// A missing or unreadable file gives no lines; the first entry of a product
// wins.
class LastUpdateTable {
public:
    LastUpdateTable() {
        ZRXmlDocument doc;
        try {
            if (!ZRStoreFile::read(doc, ZRStoreFile::homeFile(ZRStateFiles::LAST_UPDATE))) return;
        } catch (Exception&) {
            return;  // a missing last-update file only drops these lines
        }
        XMLTree* tree = doc.getTree();
        if (tree == nullptr) return;
        std::unique_ptr<XMLNode> list(tree->getNode("/UpdateInfo", -1));
        if (!list) return;
        for (int i = 0; i < list->getChildCount(); ++i) {
            std::unique_ptr<XMLNode> child(list->getChild(i));
            String value;
            if (!child || !child->getAttribute(String("ProductID"), value)) continue;
            // Ids are compared without regard to case.
            value.toLowerCase();
            if (lines.count(value.c_str()) != 0) continue;
            lines[value.c_str()] = linesOfEntry(*child);
        }
    }

    String linesOf(long id) const {
        auto found = lines.find(idText(id).c_str());
        return found == lines.end() ? String() : found->second;
    }

private:
    static String linesOfEntry(XMLNode& entry) {
        static const char* const kFields[][2] = {{"LastUpdate: ", "LastUpdate"},
                                                 {"LastSuccessUpdate: ", "LastSuccessUpdate"},
                                                 {"LastUpdateStatus: ", "LastUpdateStatus"},
                                                 {"UpdateMessage: ", "UpdateMessage"}};
        String text;
        String value;
        for (auto& field : kFields) {
            entry.getAttribute(String(field[1]), value);  // a missing one gives ""
            appendLine(text, field[0], value);
        }
        return text;
    }

    std::unordered_map<std::string, String> lines;
};

}  // namespace

bool checkProductOptions(CmdLine& cmdLine, ZRProduct& out, bool forRegister) {
    String value;
    if (!nonEmptyOption(cmdLine, "id", value)) {
        printText("ZRUpdate: no product id is specified!\n");
        return false;
    }
    long id = 0;
    if (!parseNumberOption(value, id)) {
        printText("ZRUpdate: invalid product id is specified!\n");
        return false;
    }
    out.info.id = id;

    if (!nonEmptyOption(cmdLine, "name", value)) {
        printText("ZRUpdate: no product name is specified!\n");
        return false;
    }
    out.info.name = value;
    if (!forRegister) return true;

    if (nonEmptyOption(cmdLine, "desc", value)) out.info.desc = value;
    if (nonEmptyOption(cmdLine, "lang-code", value)) out.info.langCode = value;
    if (nonEmptyOption(cmdLine, "oem", value)) out.info.OEM = value;
    if (nonEmptyOption(cmdLine, "serialno", value)) out.info.serialNo = value;
    if (nonEmptyOption(cmdLine, "parent", value)) out.info.parent = value;

    if (!nonEmptyOption(cmdLine, "path", value)) {
        printText("ZRUpdate: no product install path is specified!\n");
        return false;
    }
    out.info.installPath = value;

    String versionText;
    if (!nonEmptyOption(cmdLine, "version", versionText)) {
        printText("ZRUpdate: no product version is specified!\n");
        return false;
    }
    String status;
    String desc;
    if (nonEmptyOption(cmdLine, "version-status", value)) status = value;
    if (nonEmptyOption(cmdLine, "version-desc", value)) desc = value;
    // A version with a part that is not a decimal number is a user error,
    // reported like any other bad option rather than ending the program.
    try {
        out.version = ZRVersionInfo(versionText, status, desc);
    } catch (Exception&) {
        printText("ZRUpdate: invalid product version is specified!\n");
        return false;
    }
    return true;
}

String describeProduct(const ZRProduct& p) {
    String text;
    appendLine(text, "ProductID:   ", idText(p.info.id));
    appendLine(text, "ProductName: ", p.info.name);
    appendLine(text, "Installpath: ", p.info.installPath);
    appendOptionalLine(text, "Description: ", p.info.desc);
    appendOptionalLine(text, "LangCode:    ", p.info.langCode);
    appendOptionalLine(text, "OEM:    ", p.info.OEM);
    appendOptionalLine(text, "ParentIDs:   ", p.info.parent);
    appendOptionalLine(text, "SerialNo:    ", p.info.serialNo);
    return text;
}

int registerProduct(const ZRProduct& p) {
    // Registering again replaces the old record, at the end of the list.
    bool ok = ZRUpdateStore::instance().putProduct(p);
    String message(ok ? "ZRUpdate: register product successful: "
                      : "ZRUpdate: register product failed: ");
    message.append(describeWithVersion(p, p.version.toString()));
    ZRStoreFile::logDebug(message);
    return ok ? 0 : -3;
}

int deregisterProduct(const ZRProduct& p) {
    ZRUpdateStore& store = ZRUpdateStore::instance();
    ZRProduct stored;
    bool found = store.findProduct(p.info.id, stored);
    bool removed = found && store.removeProduct(p.info.id);
    String storedVersion = found ? stored.version.toString() : String();
    String message;
    if (removed) {
        message.append("ZRUpdate: deregister product successful: ");
        message.append(describeWithVersion(stored, storedVersion));
    } else {
        message.append("ZRUpdate: deregister product failed: ");
        message.append(describeWithVersion(p, storedVersion));
    }
    ZRStoreFile::logDebug(message);
    return removed ? 0 : -4;
}

int showStatus(long id) {
    ZRUpdateStore& store = ZRUpdateStore::instance();
    if (id == 0) {
        Vector<ZRProduct> products;
        if (store.getProducts(products) <= 0) {
            printText(kNoProducts);
            return -1;
        }
        // One read of the last-update file for all products, and the text
        // gathered in a buffer that grows geometrically: both keep the
        // status of a large inventory linear in its size.
        LastUpdateTable lastUpdates;
        std::string text("Installed Orvanta products: \n");
        for (int i = 0; i < products.size(); ++i) {
            const ZRProduct& p = products.elementAt(i);
            text.append("\n").append(describeProduct(p).c_str()).append(versionLine(p).c_str());
            text.append(lastUpdates.linesOf(p.info.id).c_str());
        }
        printText(text.c_str());
        return 0;
    }
    ZRProduct p;
    if (!store.findProduct(id, p)) {
        printText(kNoProducts);
        return -1;
    }
    String text = describeProduct(p);
    text.append(versionLine(p)).append(lastUpdateInfo(id));
    printText(text);
    return 0;
}

int printVersion(const String& idText_) {
    Vector<ZRProduct> products;
    ZRUpdateStore::instance().getProducts(products);
    String text("0");
    for (int i = 0; i < products.size(); ++i) {
        if (idText(products.elementAt(i).info.id) == idText_) {
            text = products.elementAt(i).version.version;
            break;
        }
    }
    text.append("\n");
    printText(text);
    return 0;
}

String lastUpdateInfo(long id) {
    return LastUpdateTable().linesOf(id);
}
