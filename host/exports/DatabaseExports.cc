// The database families of the exported interface: thin faces on the
// library databases, their views and their fields, by which a database
// library keeps its own data on them and adds views and fields.

#include "database/ExternalDatabase.h"
#include "database/ExternalDatabaseVariable.h"
#include "database/ExternalDatabaseView.h"
#include "extensions/oxin_extension.h"
#include "host/ExternalConfig.h"

extern "C" {

void oxDatabase_SetData(ExternalDatabase* db, void* data) {
    db->SetData(data);
}

void* oxDatabase_data(ExternalDatabase* db) {
    return db->data();
}

ExternalDatabaseView* oxDatabase_AddView(ExternalDatabase* db, const char* name, int length,
                                         void* data) {
    return db->Add_View(name, length, data);
}

void oxDatabase_SetPrimaryView(ExternalDatabase* db, ExternalDatabaseView* view) {
    db->SetPrimaryView(view);
}

OxinVM* oxDatabase_Program(ExternalDatabase* db) {
    return db->program();
}

ExternalDatabase* oxDatabaseView_Database(ExternalDatabaseView* view) {
    return view->externaldatabase();
}

void oxDatabaseView_SetData(ExternalDatabaseView* view, void* data) {
    view->SetData(data);
}

void* oxDatabaseView_data(ExternalDatabaseView* view) {
    return view->data();
}

void oxDatabaseView_Clear(ExternalDatabaseView* view) {
    view->Clear();
}

ExternalDatabaseVariable* oxDatabaseView_AddVariable(ExternalDatabaseView* view, const char* name,
                                                     int length, void* data) {
    return view->Add_Variable(name, length, data);
}

void oxDatabaseView_Commit(ExternalDatabaseView* view) {
    view->Commit();
}

void oxDatabaseView_SetDirty(ExternalDatabaseView* view, int flag) {
    view->SetDirty(flag);
}

OxinVM* oxDatabaseView_Program(ExternalDatabaseView* view) {
    return view->program();
}

ExternalDatabaseView* oxDatabaseVariable_DatabaseView(ExternalDatabaseVariable* variable) {
    return variable->view();
}

void oxDatabaseVariable_SetData(ExternalDatabaseVariable* variable, void* data) {
    variable->SetData(data);
}

void* oxDatabaseVariable_data(ExternalDatabaseVariable* variable) {
    return variable->data();
}

void oxDatabaseVariable_SetDirty(ExternalDatabaseVariable* variable) {
    variable->SetDirty();
}

int oxConfig_Register_Library_Database(ExternalConfig* config, const char* name, const char* path) {
    config->Register_Library_Database(name, path);
    return 0;
}

}  // extern "C"
