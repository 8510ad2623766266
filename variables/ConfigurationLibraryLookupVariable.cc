#include "variables/ConfigurationLibraryLookupVariable.h"

#include "application/LibraryNames.h"
#include "application/OxinApplication.h"
#include "variables/AggregateIndex.h"

ConfigurationLibraryLookupVariable::ConfigurationLibraryLookupVariable(OxinApplication* application,
                                                                       const char* name, int kind)
    : ImmutableVariable(name, -1), application_(application), kind_(kind) {
    Convert_Aggregate(AggregateStructure);
}

Variable* ConfigurationLibraryLookupVariable::Clone(OxinApplication* application) {
    return new ConfigurationLibraryLookupVariable(application, name().c_str(), kind_);
}

Variable* ConfigurationLibraryLookupVariable::Element(const AggregateIndex& index, int create) {
    if (index.IsArray()) return ImmutableVariable::Element(index, create);
    if (Variable* known = Variable::Element(index, 0)) return known;
    LibraryNames* libraries = application_ ? application_->librarynames(kind_) : nullptr;
    const String& name = index.name();
    int registered = libraries && libraries->Has_Library(name.c_str(), name.length()) ? 1 : 0;
    Variable* element = new ImmutableVariable(name.c_str(), name.length(), registered);
    Variable::SetElement(index, element);
    element->DecRefCount();
    return element;
}
