#ifndef ZR_UPDATE_STORE_H
#define ZR_UPDATE_STORE_H

#include "String.h"
#include "Vector.h"
#include "ZRObject.h"
#include "store/PlatformRecord.h"
#include "store/SizeLimit.h"
#include "store/ZRPartialFileInfo.h"
#include "store/ZRProduct.h"
#include "store/ZRStoreDocument.h"

// The inventory of the products registered on this machine, kept as an XML
// document in a file. The process-wide store holds "conf/zr-inventory" (or the
// module inventory); local instances opened on "conf/zr-partial-files" and
// "conf/zr-partial-config" answer the partial-download questions.
//
// Every change rewrites the whole file (atomically, through a temporary file
// and a rename) and parses it again, so memory always mirrors the file. When
// a write fails the file keeps its previous content, the document in memory
// is read back from it, the reason is logged and the change reports failure.
class ZRUpdateStore : public ZRStoreDocument {
public:
    // The updater's own product in the inventory and the protocol.
    static constexpr long UPDATER_PRODUCT_ID = 1000;

    // A store whose replaceProduct reloads the standard inventory under the
    // home directory.
    ZRUpdateStore();
    // A store whose replaceProduct reloads `standardInventory` instead.
    explicit ZRUpdateStore(const String& standardInventory);
    virtual ~ZRUpdateStore();

    // The process-wide inventory store.
    static ZRUpdateStore& instance();

    // load, isValid, getPath and save: see ZRStoreDocument.

    // Appends every product in document order; the number of products, or -1
    // when nothing is loaded, /Inventory/Products is missing or a product
    // record holds a number that does not parse.
    int getProducts(Vector<ZRProduct>& out);
    bool findProduct(long id, ZRProduct& out);
    // False, changing nothing, when a product with that id exists already.
    bool addProduct(const ZRProduct& p);
    bool removeProduct(long id);
    // Adds `p`, first taking out a product with the same id, in one save: a
    // write that fails leaves the old record in place rather than neither.
    bool putProduct(const ZRProduct& p);
    // Reloads the standard inventory, keeps the registration data (parent,
    // serial number, language code, OEM) of an existing product of that id,
    // removes it and adds the new record at the end of the list.
    bool replaceProduct(long id, const ZRProduct& p);

    bool getPlatformInfo(PlatformRecord& out);

    // The update request document (root ZRSelfUpdateRequest for id 1000,
    // ZRUpdateRequest otherwise) in text form. False when the inventory has
    // no PlatformInfo, a self-update finds no product 1000 or a product
    // update finds no product at all.
    bool buildRequest(long id, String& out);

    // Partial downloads ("conf/zr-partial-files").
    int getPartialFiles(Vector<ZRPartialFileInfo>& out);
    bool findPartialFile(long productID, ZRPartialFileInfo& out);
    bool removePartialFile(long productID);
    bool putPartialFile(long productID, const ZRPartialFileInfo& info);
    // Partial-download configuration ("conf/zr-partial-config").
    bool getSizeLimit(SizeLimit& out);

private:
    ZRUpdateStore(const ZRUpdateStore&) = delete;
    ZRUpdateStore& operator=(const ZRUpdateStore&) = delete;

    String inventoryPath(const char* child);
    // Reads the products and, when asked, their positions among the children
    // of the Products element.
    bool readProducts(Vector<ZRProduct>& out, Vector<int>* positions);
    // The in-memory halves of the changes; the callers save.
    bool appendProduct(const ZRProduct& p);
    bool removeProductElement(long id);
    bool removePartialElement(long productID);

    String standardInventory;
};

#endif
