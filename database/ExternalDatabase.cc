#include "database/ExternalDatabase.h"

#include "database/ExternalDatabaseView.h"
#include "runtime/BuiltinDatabase.h"

namespace {

// The text of a failed call when the library gives none.
constexpr const char* kNoErrorText = "The database library reported an error without a text";

// Versions from which the later members of the table exist.
constexpr int kCommitVersion = 2;       // Commit, Rollback
constexpr int kTransactionVersion = 5;  // Transaction, Command
constexpr int kReleaseVersion = 6;      // Release

// A table member as a library of an older version declares it.
template <typename Older, typename Member>
Older older_form(Member member) {
    return reinterpret_cast<Older>(reinterpret_cast<void (*)()>(member));
}

}  // namespace

ExternalDatabase::ExternalDatabase(OxinApplication* application, OxinVM* vm,
                                   const _OX_EL_Database* descriptor, const StringTuple& alias)
    : Database(application, vm, alias), descriptor_(descriptor) {}

ExternalDatabase::~ExternalDatabase() {
    while (!views_.empty())
        View_Del(views_.back().get());
    ReleaseData();
}

void ExternalDatabase::Register() {
    BuiltinDatabase::RegisterExternal(
        [](OxinApplication* application, OxinVM* vm, const _OX_EL_Database* descriptor,
           const StringTuple& alias) -> std::unique_ptr<Database> {
            return std::make_unique<ExternalDatabase>(application, vm, descriptor, alias);
        });
}

int ExternalDatabase::Result(int succeeded) {
    if (succeeded) return 1;
    const char* text = descriptor_->Error ? descriptor_->Error(this) : nullptr;
    error_ = String(text ? text : kNoErrorText);
    return 0;
}

int ExternalDatabase::Unsupported(const char* text) {
    error_ = String(text);
    return 0;
}

void ExternalDatabase::ReleaseData() {
    if (version() >= kReleaseVersion && descriptor_->Release && data_) descriptor_->Release(this);
    data_ = nullptr;
}

void ExternalDatabase::SetData(void* data) {
    if (data != data_) ReleaseData();
    data_ = data;
}

int ExternalDatabase::Open(const StringTuple& path, const StringTuple& alias,
                           const StringTuple& c1, const StringTuple& c2, const StringTuple& c3) {
    if (!descriptor_->Open) return Unsupported("OxOPEN is an Unsupported Operation");
    if (version() < 2) {
        using OpenV1 = int (*)(ExternalDatabase*, const char*, int, const char*, int, const char*,
                               int);
        auto open = older_form<OpenV1>(descriptor_->Open);
        return Result(open(this, path.text, path.length, c1.text, c1.length, c2.text, c2.length));
    }
    if (version() == 2) {
        using OpenV2 = int (*)(ExternalDatabase*, const char*, int, const char*, int, const char*,
                               int, const char*, int);
        auto open = older_form<OpenV2>(descriptor_->Open);
        return Result(open(this, path.text, path.length, c1.text, c1.length, c2.text, c2.length,
                           c3.text, c3.length));
    }
    return Result(descriptor_->Open(this, path.text, path.length, alias.text, alias.length,
                                    c1.text, c1.length, c2.text, c2.length, c3.text, c3.length));
}

int ExternalDatabase::Create(const StringTuple& path, const StringTuple& alias,
                             const StringTuple& fields) {
    if (!descriptor_->Create) return Unsupported("OxCREATE is an Unsupported Operation");
    if (version() <= 2) {
        using CreateV2 = int (*)(ExternalDatabase*, const char*, int, const char*, int);
        auto create = older_form<CreateV2>(descriptor_->Create);
        return Result(create(this, path.text, path.length, fields.text, fields.length));
    }
    return Result(descriptor_->Create(this, path.text, path.length, alias.text, alias.length,
                                      fields.text, fields.length));
}

int ExternalDatabase::Close() {
    while (!views_.empty()) {
        DatabaseView* view = views_.front().get();
        if (!view->Close()) {
            error_ = view->error();
            return 0;
        }
        View_Del(view);
    }
    if (!descriptor_->Close) return Unsupported("OxCLOSE is an Unsupported Operation");
    return Result(descriptor_->Close(this));
}

int ExternalDatabase::CloseView(const StringTuple& name) {
    DatabaseView* view = View(name.text, name.length);
    if (!view) {
        error_ = String("Database '");
        error_.cat(name_.c_str(), name_.length());
        error_.cat("' has no view named '");
        error_.cat(name.text, name.length);
        error_.cat("'");
        return 0;
    }
    bool was_primary = PrimaryView() == view;
    int closed = view->Close();
    if (!closed) error_ = view->error();
    View_Del(view);
    if (was_primary) SetPrimary(views_.empty() ? nullptr : views_.front().get());
    return closed;
}

int ExternalDatabase::OpenIndexes(OxinVM*, const StringTuple& indexes) {
    if (!descriptor_->OpenIndexes)
        return Unsupported("OxOPEN with INDEXES attribute is an Unsupported Operation");
    return Result(descriptor_->OpenIndexes(this, indexes.text, indexes.length));
}

int ExternalDatabase::SetPrimaryIndex(const StringTuple& index) {
    if (!descriptor_->SetPrimaryIndex)
        return Unsupported("OxPRIMARY with INDEXES attribute is an Unsupported Operation");
    return Result(descriptor_->SetPrimaryIndex(this, index.text, index.length));
}

int ExternalDatabase::CreateIndex(OxinVM*, const StringTuple& file, const StringTuple& expression,
                                  const StringTuple& flags) {
    if (!descriptor_->CreateIndex) return Unsupported("OxMAKEINDEX is an Unsupported Operation");
    return Result(descriptor_->CreateIndex(this, file.text, file.length, expression.text,
                                           expression.length, flags.text, flags.length));
}

int ExternalDatabase::Pack() {
    if (!descriptor_->Pack) return Unsupported("OxPACK is an Unsupported Operation");
    return Result(descriptor_->Pack(this));
}

int ExternalDatabase::Reindex() {
    if (!descriptor_->Reindex) return Unsupported("OxREINDEX is an Unsupported Operation");
    return Result(descriptor_->Reindex(this));
}

int ExternalDatabase::OpenView(const StringTuple& view, const StringTuple& query,
                               VariableList* list, int count) {
    if (!descriptor_->OpenView) return Unsupported("OxOPENVIEW is an Unsupported Operation");
    return Result(descriptor_->OpenView(this, view.text, view.length, query.text, query.length,
                                        list, count));
}

int ExternalDatabase::RunQuery(const StringTuple& query, VariableList* list, int count) {
    if (!descriptor_->RunQuery) return Unsupported("OxRUNQUERY is an Unsupported Operation");
    return Result(descriptor_->RunQuery(this, query.text, query.length, list, count));
}

int ExternalDatabase::Commit() {
    if (version() < kCommitVersion || !descriptor_->Commit) return 1;
    return Result(descriptor_->Commit(this));
}

int ExternalDatabase::Rollback() {
    if (version() < kCommitVersion || !descriptor_->Rollback) return 1;
    return Result(descriptor_->Rollback(this));
}

int ExternalDatabase::Transaction() {
    if (version() < kTransactionVersion || !descriptor_->Transaction) return 1;
    return Result(descriptor_->Transaction(this));
}

int ExternalDatabase::Command(const StringTuple& command, const StringTuple& arguments) {
    if (version() < kTransactionVersion || !descriptor_->Command)
        return Unsupported("OxDBCOMMAND is an unsupported operation");
    return Result(descriptor_->Command(this, command.text, command.length, arguments.text,
                                       arguments.length));
}

void ExternalDatabase::SetPrimaryView(DatabaseView* view) {
    Database::SetPrimaryView(view);
    SetPrimary(view);
}

ExternalDatabaseView* ExternalDatabase::Add_View(const char* name, int length, void* data) {
    if (!name) return nullptr;
    String text(name, length);
    if (View(text.c_str(), text.length())) return nullptr;
    auto* view = new ExternalDatabaseView(application_, vm_, this, descriptor_, text, data);
    View_Add(view);
    SetPrimary(view);
    return view;
}
