#pragma once

#include "base/Stack.h"
#include "database/QTXIndexPage.h"

// The cursor of an index: the pages from the root down to the current
// entry, each with its position. The stack owns its pages.
class QTXIndexPageStack : public Stack<QTXIndexPage> {
  public:
    QTXIndexPageStack() : Stack<QTXIndexPage>(1) {}

    // True when page pagenum is already on the path, which only a damaged
    // tree can bring about.
    bool CheckForRecursion(unsigned int pagenum) const {
        for (StackNode<QTXIndexPage>* node = top_; node; node = node->next) {
            if (node->item->pagenum() == pagenum) return true;
        }
        return false;
    }
};
