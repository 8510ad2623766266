#include "tools/XBaseIndexRebuilder.h"

#include "database/QTXIndexFile.h"
#include "database/XBaseTable.h"
#include "tools/XBaseKeyExpression.h"

bool XBaseIndexRebuilder::Fail(const std::string& text) {
    error_ = text;
    return false;
}

bool XBaseIndexRebuilder::Rebuild() {
    keys_.clear();
    if (!table_->LockTable()) return Fail(table_->error().c_str());
    bool result = CollectKeys() && InsertKeys();
    table_->ReleaseTable();
    return result;
}

// Every record's key, deleted records included, read before the index is
// touched, so that an unreadable table leaves the index as it was.
bool XBaseIndexRebuilder::CollectKeys() {
    std::string index = index_->filename().c_str();
    const char* expression = reinterpret_cast<const char*>(index_->keyexpression());
    XBaseKeyExpression key;
    if (!key.Parse(expression, table_)) {
        return Fail("'" + index + "' is left as it was: its key expression '" + expression +
                    "' is not a list of the table's fields joined by '.', which is all that "
                    "can be rebuilt here");
    }
    int held = table_->RecordsHeld();
    if (held < 0) return Fail("'" + index + "' is left as it was: " + table_->error().c_str());
    if (held < table_->numrecords()) {
        return Fail("'" + index + "' is left as it was: '" + table_->datapath().c_str() +
                    "' holds " + std::to_string(held) + " of the " +
                    std::to_string(table_->numrecords()) + " records its header counts");
    }
    for (int record = 1; record <= table_->numrecords(); record++) {
        if (!table_->Goto(record)) {
            return Fail("'" + index + "' is left as it was: " + table_->error().c_str());
        }
        keys_.push_back(key.Key(index_->keysize()));
    }
    return true;
}

bool XBaseIndexRebuilder::InsertKeys() {
    std::string failed =
        "'" + std::string(index_->filename().c_str()) + "' is only partly rebuilt: ";
    if (!index_->Clear()) return Fail(failed + index_->error().c_str());
    for (size_t i = 0; i < keys_.size(); i++) {
        const std::string& key = keys_[i];
        if (!index_->Insert(static_cast<unsigned int>(i + 1),
                            reinterpret_cast<const unsigned char*>(key.c_str()),
                            static_cast<int>(key.size()))) {
            return Fail(failed + index_->error().c_str());
        }
    }
    return true;
}
