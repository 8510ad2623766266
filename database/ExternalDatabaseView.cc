#include "database/ExternalDatabaseView.h"

#include "database/ExternalDatabase.h"
#include "database/ExternalDatabaseVariable.h"

namespace {
constexpr const char* kNoErrorText = "The database library reported an error without a text";
constexpr const char* kNoFilters = "Database type 'external' does not support Filters";
}  // namespace

ExternalDatabaseView::ExternalDatabaseView(OxinApplication* application, OxinVM* vm,
                                           ExternalDatabase* database,
                                           const _OX_EL_Database* descriptor, const String& name,
                                           void* data)
    : DatabaseView(application, vm, database, name),
      external_(database),
      descriptor_(descriptor),
      data_(data) {}

ExternalDatabaseView::~ExternalDatabaseView() {
    variables_.Dump();
}

int ExternalDatabaseView::Result(int succeeded) {
    if (succeeded) return 1;
    const char* text = descriptor_->View_Error ? descriptor_->View_Error(this) : nullptr;
    error_ = String(text ? text : kNoErrorText);
    return 0;
}

int ExternalDatabaseView::Unsupported(const char* text) {
    error_ = String(text);
    return 0;
}

template <typename Operation>
void ExternalDatabaseView::ForEachVariable(Operation operation) {
    for (Variable* variable = variables_.First(); variable; variable = variables_.Next())
        operation(static_cast<ExternalDatabaseVariable*>(variable));
}

int ExternalDatabaseView::Close() {
    if (!descriptor_->View_Close) return 1;
    return Result(descriptor_->View_Close(this));
}

int ExternalDatabaseView::Skip_NoFilter(int count) {
    if (!descriptor_->View_Skip) return Unsupported("OxSKIP is an Unsupported Operation");
    return Result(descriptor_->View_Skip(this, count));
}

int ExternalDatabaseView::Go_NoFilter(long position) {
    if (!descriptor_->View_Go) return Unsupported("OxGO is an Unsupported Operation");
    return Result(descriptor_->View_Go(this, position));
}

int ExternalDatabaseView::Find_NoFilter(const StringTuple& key, int whole) {
    if (!descriptor_->View_Find) return Unsupported("OxFIND is an Unsupported Operation");
    return Result(descriptor_->View_Find(this, key.text, key.length, whole));
}

int ExternalDatabaseView::Skip_Filter(int) {
    return Unsupported(kNoFilters);
}

int ExternalDatabaseView::Go_Filter(long) {
    return Unsupported(kNoFilters);
}

int ExternalDatabaseView::Find_Filter(const StringTuple&, int) {
    return Unsupported(kNoFilters);
}

int ExternalDatabaseView::Add() {
    if (!descriptor_->View_Add) return Unsupported("OxADD is an Unsupported Operation");
    return Result(descriptor_->View_Add(this));
}

int ExternalDatabaseView::Delete() {
    if (!descriptor_->View_Delete) return Unsupported("OxDELETE is an Unsupported Operation");
    return Result(descriptor_->View_Delete(this));
}

int ExternalDatabaseView::UnDelete() {
    if (!descriptor_->View_UnDelete) return Unsupported("OxUNDELETE is an Unsupported Operation");
    return Result(descriptor_->View_UnDelete(this));
}

int ExternalDatabaseView::Update() {
    if (!descriptor_->View_Update) return Unsupported("OxUPDATE is an Unsupported Operation");
    return Result(descriptor_->View_Update(this));
}

int ExternalDatabaseView::Filter(OxinVM*, const StringTuple& expression) {
    if (!descriptor_->View_Filter) return Unsupported("OxFILTER is an Unsupported Operation");
    return Result(descriptor_->View_Filter(this, expression.text, expression.length));
}

int ExternalDatabaseView::RevealStructure_Table(const StringTuple& path) {
    if (!descriptor_->View_RevealStructure_Table)
        return Unsupported("OxREVEALSTRUCTURE is an Unsupported Operation");
    return Result(descriptor_->View_RevealStructure_Table(this, path.text, path.length));
}

int ExternalDatabaseView::RevealStructure_Aggregate(Variable** variable) {
    if (!descriptor_->View_RevealStructure_Aggregate)
        return Unsupported("OxREVEALSTRUCTURE is an Unsupported Operation");
    return Result(descriptor_->View_RevealStructure_Aggregate(this, variable));
}

void ExternalDatabaseView::SetDirty(int) {
    ForEachVariable([](ExternalDatabaseVariable* variable) { variable->SetDirty(); });
}

void ExternalDatabaseView::Commit() {
    ForEachVariable([](ExternalDatabaseVariable* variable) { variable->Commit(); });
}

ExternalDatabaseVariable* ExternalDatabaseView::Add_Variable(const char* name, int length,
                                                             void* data) {
    if (!name) return nullptr;
    String text(name, length);
    if (FindField(text.c_str(), text.length())) return nullptr;
    auto* variable = new ExternalDatabaseVariable(this, descriptor_, text.c_str(),
                                                  text.length(), data);
    variables_.Add(variable);
    return variable;
}

void ExternalDatabaseView::Clear() {
    variables_.Dump();
}
