#include "database/XBaseDatabaseView.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "database/XBaseIndex.h"
#include "database/XBaseStateVariables.h"
#include "database/XBaseTable.h"
#include "database/XBaseVariable.h"
#include "runtime/Database.h"
#include "runtime/ExpressionCompiler.h"
#include "runtime/OxinVM.h"
#include "variables/AggregateIndex.h"

namespace {

constexpr long kTop = -1;

constexpr long kBottom = -2;

// The fields of a structure listing, with each field's values.
struct StructureRow {
    char name[12];
    char type[2];
    char length[12];
    char decimals[12];
};

StructureRow row_of(XBaseField* field) {
    StructureRow row;
    snprintf(row.name, sizeof row.name, "%s", field->name());
    row.type[0] = XBaseTypeCharacter(field->type());
    row.type[1] = '\0';
    snprintf(row.length, sizeof row.length, "%d", field->length());
    snprintf(row.decimals, sizeof row.decimals, "%d", field->decimalcount());
    return row;
}

}  // namespace

XBaseDatabaseView::XBaseDatabaseView(OxinApplication* application, OxinVM* vm,
                                     Database* database, const String& name, XBaseTable* table,
                                     Indexes* indexes)
    : DatabaseView(application, vm, database, name), table_(table), indexes_(indexes) {
    Build(*table, false);
}

int XBaseDatabaseView::SetupCurrentRecord(XBaseTable& table) {
    variables_.Dump();
    return Build(table, true);
}

int XBaseDatabaseView::Build(XBaseTable& table, bool date_variables) {
    int stands = table.numrecords() == 0 || table.Goto(1);
    if (!stands) error_ = table.error();
    variables_.Add(new XBaseTotalRecordsVariable(&table));
    variables_.Add(new XBaseRecordNumberVariable(&table));
    variables_.Add(new XBaseDeletedVariable(&table));
    eof_ = new XBaseEOFVariable();
    variables_.Add(eof_);
    List<XBaseField>& fields = table.fields();
    for (XBaseField* field = fields.First(); field; field = fields.Next()) {
        switch (field->type()) {
            case XBaseNumeric:
                variables_.Add(new XBaseNumberVariable(field));
                break;
            case XBaseLogical:
                variables_.Add(new XBaseBooleanVariable(field));
                break;
            case XBaseDate:
                if (date_variables) {
                    variables_.Add(new XBaseDateVariable(field));
                    break;
                }
                [[fallthrough]];
            default:
                variables_.Add(new XBaseStringVariable(field));
                break;
        }
    }
    return stands;
}

template <class Operation>
void XBaseDatabaseView::ForEachVariable(Operation operation) {
    for (int i = 0; i < variables_.count(); i++) {
        if (Variable* variable = variables_.Index(i)) operation(static_cast<XBaseVariable*>(variable));
    }
}

XBaseIndex* XBaseDatabaseView::primary() const {
    return indexes_->empty() ? nullptr : indexes_->front().get();
}

int XBaseDatabaseView::eof() const {
    return eof_->value_integer();
}

void XBaseDatabaseView::SetEOF(int value) {
    eof_->SetEOF(value);
}

int XBaseDatabaseView::Fail(const String& text) {
    error_ = text;
    return 0;
}

void XBaseDatabaseView::SetDirty(int flag) {
    if (flag) {
        ForEachVariable([](XBaseVariable* variable) { variable->SetDirty(); });
        return;
    }
    int specials = 0;
    ForEachVariable([&specials](XBaseVariable* variable) {
        if (specials++ < 4) variable->SetDirty();
    });
}

void XBaseDatabaseView::Commit() {
    ForEachVariable([](XBaseVariable* variable) { variable->Commit(); });
}

void XBaseDatabaseView::SetOriginal() {
    ForEachVariable([](XBaseVariable* variable) { variable->SetOriginal(); });
}

void XBaseDatabaseView::SwapOriginal() {
    ForEachVariable([](XBaseVariable* variable) { variable->SwapOriginal(); });
}

int XBaseDatabaseView::Close() {
    variables_.Dump();
    eof_ = nullptr;
    if (!table_->Close()) return Fail(table_->error());
    return 1;
}

int XBaseDatabaseView::Move(unsigned int record) {
    if (!table_->Goto(static_cast<int>(record))) return Fail(table_->error());
    return 1;
}

int XBaseDatabaseView::Step(bool forward, bool bounded, unsigned int* record) {
    if (XBaseIndex* index = primary()) {
        int stepped = forward ? index->Next(record) : index->Prev(record);
        return stepped ? 1 : Fail(index->error());
    }
    long next = table_->recordnum() + (forward ? 1 : -1);
    if (next < 0 || (bounded && next > table_->numrecords())) next = 0;
    *record = static_cast<unsigned int>(next);
    return 1;
}

int XBaseDatabaseView::Evaluate(int* truth) {
    *truth = 0;
    if (!filter_vm_->Execute_Dynamic_Expression(filter_, nullptr, nullptr, truth))
        return Fail(filter_vm_->error());
    return 1;
}

int XBaseDatabaseView::Skip_NoFilter(int count) {
    bool forward = count >= 0;
    XBaseReadingAhead ahead(table_);
    for (long steps = forward ? count : -static_cast<long>(count); steps > 0; steps--) {
        unsigned int record;
        if (!Step(forward, true, &record)) return 0;
        if (record == 0) {
            SetEOF(1);
            return 1;
        }
        if (!Move(record)) return 0;
    }
    SetEOF(0);
    SetDirty(1);
    return 1;
}

int XBaseDatabaseView::Skip_Filter(int count) {
    if (count == 0) return 1;
    XBaseReadingAhead ahead(table_);
    bool forward = count > 0;
    for (long steps = forward ? count : -static_cast<long>(count); steps > 0;) {
        unsigned int record;
        if (!Step(forward, false, &record)) return 0;
        if (record == 0 || record > static_cast<unsigned int>(table_->numrecords())) {
            SetEOF(1);
            return 1;
        }
        if (!Move(record)) return 0;
        SetDirty(1);
        int truth;
        if (!Evaluate(&truth)) return 0;
        if (truth) steps--;
    }
    SetEOF(0);
    return 1;
}

int XBaseDatabaseView::Go_NoFilter(long position) {
    XBaseIndex* index = primary();
    unsigned int record = static_cast<unsigned int>(position);
    if (position == kBottom || position == kTop) {
        if (index) {
            int found = position == kTop ? index->First(&record) : index->Last(&record);
            if (!found) return Fail(index->error());
        } else {
            record = position == kTop ? 1 : static_cast<unsigned int>(table_->numrecords());
        }
    } else if (position < 1) {
        record = 0;
    }
    if (record < 1 || record > static_cast<unsigned int>(table_->numrecords())) {
        SetEOF(1);
        return 1;
    }
    if (!Move(record)) return 0;
    SetEOF(0);
    SetDirty(1);
    return 1;
}

int XBaseDatabaseView::SeekCurrent(XBaseIndex* index) {
    String key;
    if (!index->Key(&key)) return Fail(index->error());
    if (!index->Seek(key, static_cast<unsigned int>(table_->recordnum())))
        return Fail(String("Record is not in index"));
    return 1;
}

int XBaseDatabaseView::Go_Filter(long position) {
    XBaseIndex* index = primary();
    unsigned int numrecords = static_cast<unsigned int>(table_->numrecords());
    if (position != kBottom && position != kTop) {
        if (position < 1 || static_cast<unsigned long>(position) > numrecords) {
            SetEOF(1);
            return 1;
        }
        if (!Move(static_cast<unsigned int>(position))) return 0;
        SetDirty(1);
        if (index && !SeekCurrent(index)) return 0;
        int truth;
        if (!Evaluate(&truth)) return 0;
        SetEOF(truth ? 0 : 1);
        return 1;
    }
    bool forward = position == kTop;
    XBaseReadingAhead ahead(table_);
    unsigned int record;
    if (index) {
        if (!(forward ? index->First(&record) : index->Last(&record))) return Fail(index->error());
    } else {
        record = forward ? 1 : numrecords;
    }
    for (;;) {
        if (record == 0 || record > static_cast<unsigned int>(table_->numrecords())) {
            SetEOF(1);
            return 1;
        }
        if (!Move(record)) return 0;
        SetDirty(1);
        int truth;
        if (!Evaluate(&truth)) return 0;
        if (truth) break;
        if (!Step(forward, false, &record)) return 0;
    }
    SetEOF(0);
    return 1;
}

int XBaseDatabaseView::Search(const String& key, int whole, unsigned int* record, int* found) {
    XBaseIndex* index = primary();
    if (!index) return Fail(String("Database has no open indexes"));
    *record = 0;
    *found = 0;
    if (!index->Find(key.c_str(), key.length(), whole, record, found)) return Fail(index->error());
    return 1;
}

int XBaseDatabaseView::Find_NoFilter(const StringTuple& key, int whole) {
    unsigned int record;
    int found;
    if (!Search(String(key.text, key.length), whole, &record, &found)) return 0;
    if (!found && !(primary()->Flags() & QTXRange)) {
        SetEOF(1);
        return 1;
    }
    if (record == 0 || record > static_cast<unsigned int>(table_->numrecords())) {
        SetEOF(1);
        return 1;
    }
    if (!Move(record)) return 0;
    SetEOF(found ? 0 : 1);
    SetDirty(1);
    return 1;
}

int XBaseDatabaseView::Find_Filter(const StringTuple& key, int whole) {
    String wanted(key.text, key.length);
    unsigned int record;
    int found;
    if (!Search(wanted, whole, &record, &found)) return 0;
    XBaseIndex* index = primary();
    if (!found || record == 0 || record > static_cast<unsigned int>(table_->numrecords())) {
        SetEOF(1);
        return 1;
    }
    if (!Move(record)) return 0;
    SetDirty(1);
    int truth;
    if (!Evaluate(&truth)) return 0;
    while (!truth) {
        const unsigned char* entry = nullptr;
        if (!index->Next(&record, &entry)) return Fail(index->error());
        if (record == 0) break;
        if (!Move(record)) return 0;
        SetDirty(1);
        if (QTXIndexFile::Compare(reinterpret_cast<const unsigned char*>(wanted.c_str()), entry,
                                  whole, index->Flags()) != 0)
            break;
        if (!Evaluate(&truth)) return 0;
    }
    SetEOF(truth ? 0 : 1);
    return 1;
}

int XBaseDatabaseView::Reopen() {
    if (!table_->LockCurrent()) return Fail(table_->error());
    for (auto& index : *indexes_) {
        auto fresh = std::make_unique<XBaseIndex>(vm_, application_, database_, index->name());
        if (!fresh->Open(index->filepath())) {
            table_->ReleaseTable();
            return Fail(fresh->error());
        }
        index = std::move(fresh);
    }
    table_->ReleaseTable();
    return 1;
}

int XBaseDatabaseView::Add() {
    Commit();
    // An append that met files replaced by a pack goes to the new ones; a
    // mark that stays after reopening is damage, and the append fails.
    for (int attempt = 0; !table_->Append(); attempt++) {
        if (!table_->rebuilt() || attempt == 8) return Fail(table_->error());
        if (!Reopen()) return 0;
    }
    for (auto& index : *indexes_) {
        String key;
        if (!index->Key(&key)) return Fail(index->error());
        if (!index->Insert(static_cast<unsigned int>(table_->recordnum()), key))
            return Fail(index->error());
        if (!Go_NoFilter(table_->recordnum())) return 0;
    }
    SetDirty(0);
    return 1;
}

int XBaseDatabaseView::Update() {
    Commit();
    int result = 1;
    unsigned int record = static_cast<unsigned int>(table_->recordnum());
    for (auto& index : *indexes_) {
        String new_key, old_key;
        if (!index->Key(&new_key)) {
            result = Fail(index->error());
            break;
        }
        table_->SwapOriginal();
        SetOriginal();
        bool built = index->Key(&old_key);
        table_->SwapOriginal();
        SwapOriginal();
        if (!built) {
            result = Fail(index->error());
            break;
        }
        if (strcmp(old_key.c_str(), new_key.c_str()) == 0) continue;
        if (!index->Delete(record, old_key) || !index->Insert(record, new_key) ||
            !index->Seek(new_key, record)) {
            result = Fail(index->error());
            break;
        }
    }
    if (!table_->Update()) result = Fail(table_->error());
    SetDirty(0);
    return result;
}

int XBaseDatabaseView::Delete() {
    if (!table_->UpdateDeleted(1)) return Fail(table_->error());
    SetDirty(0);
    return 1;
}

int XBaseDatabaseView::UnDelete() {
    if (!table_->UpdateDeleted(0)) return Fail(table_->error());
    SetDirty(0);
    return 1;
}

int XBaseDatabaseView::SetPrimaryIndex(XBaseIndex* index) {
    if (table_->recordnum() < 1) return 1;
    return SeekCurrent(index);
}

void XBaseDatabaseView::SetFilter(OxinVM* vm, Segment* segment) {
    DatabaseView::SetFilter(vm, segment);
    if (IsFiltered()) {
        Go_Filter(kTop);
    } else {
        Go_NoFilter(kTop);
    }
}

int XBaseDatabaseView::Filter(OxinVM* vm, const StringTuple& expression) {
    if (ExpressionCompiler::Expression_Empty(expression.text, expression.length)) {
        DatabaseView::SetFilter(nullptr, nullptr);
        return Go_NoFilter(kTop);
    }
    String message;
    Segment* segment = vm->Compile_Dynamic_Expression(expression.text, expression.length,
                                                      database_->name().c_str(), nullptr,
                                                      &message, nullptr, 0, 0);
    if (!segment) {
        String text("Syntax error in filter: ");
        text.cat(message.c_str(), message.length());
        return Fail(text);
    }
    DatabaseView::SetFilter(vm, segment);
    return Go_Filter(kTop);
}

int XBaseDatabaseView::RevealStructure_Table(const StringTuple& path) {
    List<XBaseField> layout(1);
    layout.Insert(new XBaseField(nullptr, "FIELD_NAME", XBaseCharacter, 10, 0), ListTail);
    layout.Insert(new XBaseField(nullptr, "FIELD_TYPE", XBaseCharacter, 1, 0), ListTail);
    layout.Insert(new XBaseField(nullptr, "FIELD_LEN", XBaseNumeric, 4, 0), ListTail);
    layout.Insert(new XBaseField(nullptr, "FIELD_DEC", XBaseNumeric, 4, 0), ListTail);
    XBaseTable structure(application_);
    if (!structure.Create(OxinPathData, String(path.text, path.length), "", 0, layout))
        return Fail(structure.error());
    List<XBaseField>& fields = table_->fields();
    for (XBaseField* field = fields.First(); field; field = fields.Next()) {
        StructureRow row = row_of(field);
        List<XBaseField>& columns = structure.fields();
        const char* values[] = {row.name, row.type, row.length, row.decimals};
        int i = 0;
        for (XBaseField* column = columns.First(); column; column = columns.Next())
            column->Set(values[i], static_cast<int>(strlen(values[i]))), i++;
        if (!structure.Append()) return Fail(structure.error());
    }
    if (!structure.Close()) return Fail(structure.error());
    return 1;
}

int XBaseDatabaseView::RevealStructure_Aggregate(Variable** variable) {
    List<XBaseField>& fields = table_->fields();
    int n = 1;
    for (XBaseField* field = fields.First(); field; field = fields.Next(), n++) {
        StructureRow row = row_of(field);
        Variable* element = (*variable)->Element(AggregateIndex(n), 1);
        if (!element) continue;
        const char* members[] = {"FIELD_NAME", "FIELD_TYPE", "FIELD_LEN", "FIELD_DEC"};
        const char* values[] = {row.name, row.type, row.length, row.decimals};
        for (int i = 0; i < 4; i++) {
            if (Variable* member = element->Element(AggregateIndex(members[i], -1), 1))
                member->SetValue(values[i], static_cast<int>(strlen(values[i])));
        }
    }
    return 1;
}
