#pragma once

#include "database/XBaseField.h"

// A memo field. The record holds the number of the memo's first block; the
// text itself lives in the table's memo file, is loaded when first asked for
// and is written to new blocks at the end of the memo file when it changed.
class XBaseMemoField : public XBaseField {
  public:
    XBaseMemoField(XBaseTable* table, const char* name, int length, int decimalcount);
    XBaseMemoField(XBaseTable* table, const char* name, int namelength, int length,
                   int decimalcount);
    ~XBaseMemoField() override;

    // Takes the block number and forgets any loaded text.
    int Read(unsigned char* bytes) override;
    // Writes a changed text to new blocks first; 0 when that failed, and the
    // record bytes are then left alone.
    int Write(unsigned char* bytes) override;
    // Takes a copy of value, of any length, as the new text.
    void Set(const char* value, int length) override;
    // The memo text, loaded on first use; null when loading failed (the
    // table's error says why).
    const char* data() override;
    void SwapOriginal() override;
    void SetOriginal() override;

    // The length of the text that data() returned.
    int textlength() const { return textlength_; }
    const char* originaltext() const { return originaltext_; }

  private:
    void DropTexts();

    bool dirty_ = false;
    char* text_ = nullptr;
    int textlength_ = 0;
    char* originaltext_ = nullptr;
    int originallength_ = 0;
};
