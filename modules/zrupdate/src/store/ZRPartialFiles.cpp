// The partial-download documents, read and written by stores opened on
// "conf/zr-partial-files" and "conf/zr-partial-config".

#include <memory>

#include "Exception.h"
#include "store/ZRDecimal.h"
#include "store/ZRStoreFile.h"
#include "store/ZRStoreXml.h"
#include "store/ZRUpdateStore.h"
#include "xml/XMLNode.h"
#include "xml/XMLTree.h"

using ZRStoreXml::appendChild;
using ZRStoreXml::attribute;
using ZRStoreXml::decimal;
using ZRStoreXml::numberAttribute;
using ZRStoreXml::setAttribute;

int ZRUpdateStore::getPartialFiles(Vector<ZRPartialFileInfo>& out) {
    out.clear();
    XMLTree* t = tree();
    if (t == nullptr) return -1;
    std::unique_ptr<XMLNode> root(t->getNode(String("/"), -1));
    if (!root) return 0;
    int count = root->getChildCount();
    for (int i = 0; i < count; i++) {
        std::unique_ptr<XMLNode> child(root->getChild(i));
        if (!child) continue;
        ZRPartialFileInfo info;
        info.url = attribute(*child, "url");
        info.path = attribute(*child, "path");
        // A number that does not parse counts as missing (-1): the entry then
        // matches no download and the package is fetched again from the start.
        const char* names[] = {"productID", "size", "actualSize"};
        long* fields[] = {&info.productID, &info.size, &info.actualSize};
        for (int f = 0; f < 3; f++) {
            try {
                *fields[f] = numberAttribute(*child, names[f], -1);
            } catch (Exception& e) {
                *fields[f] = -1;
                String message("ZRUpdate: bad partial file entry in ");
                message.append(getPath()).append(": ").append(e.getMessage());
                ZRStoreFile::logDebug(message);
            }
        }
        out.add(info);
    }
    return out.size();
}

bool ZRUpdateStore::findPartialFile(long productID, ZRPartialFileInfo& out) {
    Vector<ZRPartialFileInfo> entries;
    getPartialFiles(entries);
    for (int i = 0; i < entries.size(); i++) {
        if (entries.elementAt(i).productID == productID) {
            out = entries.elementAt(i);
            return true;
        }
    }
    return false;
}

bool ZRUpdateStore::removePartialElement(long productID) {
    Vector<ZRPartialFileInfo> entries;
    getPartialFiles(entries);
    for (int i = 0; i < entries.size(); i++) {
        if (entries.elementAt(i).productID == productID) {
            return tree()->removeNode(String("/"), String("PartialFile"), i);
        }
    }
    return false;
}

bool ZRUpdateStore::removePartialFile(long productID) {
    return removePartialElement(productID) && save();
}

bool ZRUpdateStore::putPartialFile(long productID, const ZRPartialFileInfo& info) {
    XMLTree* t = tree();
    if (t == nullptr) return false;
    // One entry per product: the old one goes and the new one is appended,
    // both in a single save.
    removePartialElement(productID);
    int position = appendChild(*t, String("/"), "PartialFile");
    if (position < 0) {
        reload();
        return false;
    }
    setAttribute(*t, "/PartialFile", "productID", decimal(info.productID), position);
    setAttribute(*t, "/PartialFile", "url", info.url, position);
    setAttribute(*t, "/PartialFile", "path", info.path, position);
    setAttribute(*t, "/PartialFile", "size", decimal(info.size), position);
    setAttribute(*t, "/PartialFile", "actualSize", decimal(info.actualSize), position);
    return save();
}

bool ZRUpdateStore::getSizeLimit(SizeLimit& out) {
    out.ids.clear();
    out.minSize = 0;
    XMLTree* t = tree();
    if (t == nullptr) return false;
    std::unique_ptr<XMLNode> limit(t->getNode(String("/SizeLimit"), -1));
    if (!limit) return true;
    // The file is kept by hand: a value that does not parse is skipped (and
    // logged) and the defaults stand in for it.
    try {
        out.minSize = numberAttribute(*limit, "MinSize", 0);
    } catch (Exception& e) {
        String message("ZRUpdate: bad MinSize in ");
        message.append(getPath()).append(": ").append(e.getMessage());
        ZRStoreFile::logDebug(message);
    }
    int count = limit->getChildCount();
    for (int i = 0; i < count; i++) {
        std::unique_ptr<XMLNode> child(limit->getChild(i));
        String id;
        if (!child || !child->getAttribute(String("id"), id)) continue;
        try {
            out.ids.add(parseDecimal(id));
        } catch (Exception& e) {
            String message("ZRUpdate: bad product id in ");
            message.append(getPath()).append(": ").append(e.getMessage());
            ZRStoreFile::logDebug(message);
        }
    }
    return true;
}
