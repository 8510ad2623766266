// The aggregate operations of Variable: elements, ranges and positions.
#include "variables/AggregateElementTree.h"
#include "variables/Variable.h"

namespace {

AggregateType TypeOf(const AggregateIndex& index) {
    return index.IsArray() ? AggregateArray : AggregateStructure;
}

}  // namespace

Variable* Variable::ElementOfTree(const AggregateIndex& index, int create) {
    AggregateElement* element = elements_->Find(index);
    if (!element && create) {
        element = new AggregateElement(index);
        elements_->Insert(element);
    }
    return element ? element->var() : nullptr;
}

Variable* Variable::Element(const AggregateIndex& index, int create) {
    AggregateType type = TypeOf(index);
    if (aggregate_type_ != type) {
        if (!create) return nullptr;
        delete elements_;
        elements_ = nullptr;
    }
    if (!elements_) {
        // The scalar value is dropped; its bytes stay but no longer count.
        elements_ = new AggregateElementTree(1);
        aggregate_type_ = type;
        flags_ &= ~kFormFlags;
        primary_type_ = PrimaryNone;
    }
    return ElementOfTree(index, create);
}

Variable* Variable::Element(List<AggregateIndex>* path, int create) {
    Variable* current = this;
    if (!path) return current;
    for (AggregateIndex* index = path->First(); index && current; index = path->Next())
        current = current->Element(*index, create);
    return current;
}

void Variable::Convert_Aggregate(AggregateType type) {
    if (aggregate_type_ == type) return;
    delete elements_;
    elements_ = new AggregateElementTree(1);
    aggregate_type_ = type;
    flags_ &= ~kFormFlags;
    primary_type_ = PrimaryNone;
}

int Variable::SetElement(const AggregateIndex& index, Variable* variable) {
    AggregateType type = TypeOf(index);
    AggregateElement* element = nullptr;
    if (aggregate_type_ != type) {
        Convert_Aggregate(type);
    } else {
        element = elements_->Find(index);
    }
    if (element) {
        element->SetVariable(variable);
    } else {
        elements_->Insert(new AggregateElement(index, variable));
    }
    return 1;
}

int Variable::InsertElement(int position, Variable* variable) {
    if (aggregate_type_ != AggregateArray) {
        Convert_Aggregate(AggregateArray);
        if (position < 1) position = 1;
    } else if (position >= 1) {
        elements_->Displace(position, 1);
    } else {
        position = Max() + 1;
    }
    elements_->Insert(new AggregateElement(AggregateIndex(position), variable));
    return 1;
}

int Variable::DeleteElement(const AggregateIndex& index, bool collapse) {
    if (aggregate_type_ != TypeOf(index)) return 0;
    AggregateElement* element = elements_->Remove(index);
    delete element;
    if (aggregate_type_ == AggregateArray && collapse) elements_->Displace(index.index() + 1, -1);
    return element ? 1 : 0;
}

int Variable::DeleteElements(int start, int count, bool collapse) {
    Convert_Aggregate(AggregateArray);
    int removed = 0;
    if (count != -1) {
        for (int i = Next(start - 1); i != 0 && i < start + count; i = Next(i)) {
            delete elements_->Remove(AggregateIndex(i));
            removed++;
        }
        if (collapse) elements_->Displace(start + count, -count);
        return removed;
    }
    for (AggregateElement* last = elements_->Last(); last && last->index().index() >= start;
         last = elements_->Last()) {
        delete elements_->Remove(last->index());
        removed++;
    }
    return removed;
}

void Variable::TransferRange(Variable* source, int start, int count, int dest, bool copy,
                             bool backward) {
    int end = start + count;
    int i = backward ? source->Previous(end) : source->Next(start - 1);
    while (i != 0 && (backward ? i >= start : i < end)) {
        Variable* element = source->Element(AggregateIndex(i), 0);
        Variable* moved = copy ? new Variable(*element) : element;
        SetElement(AggregateIndex(i - start + dest), moved);
        if (copy) moved->DecRefCount();
        i = backward ? source->Previous(i) : source->Next(i);
    }
}

int Variable::MergeElements(Variable* from, int start, int count, int dest, bool copy) {
    Convert_Aggregate(AggregateArray);
    Variable* source = from->RealIdentity();
    if (start < 1) start = source->Min();
    if (start < 1) start = 1;
    if (count < 0) {
        count = source->Max();
        if (count > 0) count = count - start + 1;
    }
    if (dest < 1) dest = Max() + 1;
    elements_->Displace(dest, count);
    if (source->aggregatetype() != AggregateArray) return 1;
    if (source == this) {
        if (dest <= start) {
            start += count;
        } else if (start + count > dest) {
            // The range was cut in two by the gap: the part below dest goes
            // first, then the part that the gap pushed up.
            TransferRange(this, start, dest - start, dest, copy, false);
            int old_start = start;
            start = count + dest;
            dest = 2 * dest - old_start;
            count = count * 2;
        }
    }
    TransferRange(source, start, count, dest, copy, false);
    return 1;
}

int Variable::CopyElements(Variable* from, int start, int count, int dest, bool copy) {
    Convert_Aggregate(AggregateArray);
    Variable* source = from->RealIdentity();
    if (source->aggregatetype() != AggregateArray) return 0;
    if (start < 1) start = source->Min();
    if (start < 1) return 0;
    if (count < 0) {
        int max = source->Max();
        if (max < 1) return 0;
        count = max - start + 1;
    }
    if (dest < 1) dest = Max() + 1;
    if (source == this && dest == start && !copy) return 1;
    TransferRange(source, start, count, dest, copy, dest >= start);
    return 1;
}

int Variable::CollapseElements() {
    if (aggregate_type_ != AggregateArray) return 0;
    int position = 0;
    elements_->InOrder(
        [&position](AggregateElement* element) { element->index().Move(++position); });
    return position;
}

int Variable::Max() {
    AggregateElement* last = elements_ ? elements_->Last() : nullptr;
    return last ? last->index().index() : 0;
}

int Variable::Min() {
    AggregateElement* first = elements_ ? elements_->First() : nullptr;
    return first ? first->index().index() : 0;
}

int Variable::Next(int index) {
    if (!elements_) return 0;
    if (aggregate_type_ != AggregateArray) return -1;
    AggregateElement* next = elements_->Next(AggregateIndex(index));
    return next ? next->index().index() : 0;
}

int Variable::Previous(int index) {
    if (!elements_) return 0;
    if (aggregate_type_ != AggregateArray) return -1;
    AggregateElement* previous = elements_->Previous(AggregateIndex(index));
    return previous ? previous->index().index() : 0;
}

int Variable::ElementsUsed() {
    return elements_ ? elements_->Entries() : 0;
}
