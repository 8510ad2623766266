#include "variables/ConfigurationLibraryListVariable.h"

#include "application/LibraryNames.h"
#include "application/OxinApplication.h"
#include "variables/AggregateIndex.h"

ConfigurationLibraryListVariable::ConfigurationLibraryListVariable(OxinApplication* application,
                                                                   const char* name, int kind)
    : ImmutableVariable(name, -1), application_(application), kind_(kind) {
    Convert_Aggregate(AggregateArray);
}

Variable* ConfigurationLibraryListVariable::Clone(OxinApplication* application) {
    return new ConfigurationLibraryListVariable(application, name().c_str(), kind_);
}

void ConfigurationLibraryListVariable::Load() {
    if (loaded_) return;
    loaded_ = true;
    LibraryNames* libraries = application_ ? application_->librarynames(kind_) : nullptr;
    if (!libraries) return;
    int n = 1, length = 0;
    for (const char* name = libraries->First_Name(&length); name;
         name = libraries->Next_Name(&length)) {
        Variable* element = new ImmutableVariable("", 0, name, length);
        Variable::SetElement(AggregateIndex(n++), element);
        element->DecRefCount();
    }
}

AggregateElementTree* ConfigurationLibraryListVariable::aggregateelements() {
    Load();
    return Variable::aggregateelements();
}

String& ConfigurationLibraryListVariable::value() {
    Load();
    return Variable::value();
}

Variable* ConfigurationLibraryListVariable::Element(const AggregateIndex& index, int create) {
    Load();
    return ImmutableVariable::Element(index, create);
}

Variable* ConfigurationLibraryListVariable::Element(List<AggregateIndex>* path, int create) {
    Load();
    return Variable::Element(path, create);
}

int ConfigurationLibraryListVariable::Max() {
    Load();
    return Variable::Max();
}

int ConfigurationLibraryListVariable::Min() {
    Load();
    return Variable::Min();
}

int ConfigurationLibraryListVariable::Next(int index) {
    Load();
    return Variable::Next(index);
}

int ConfigurationLibraryListVariable::Previous(int index) {
    Load();
    return Variable::Previous(index);
}

int ConfigurationLibraryListVariable::ElementsUsed() {
    Load();
    return Variable::ElementsUsed();
}
