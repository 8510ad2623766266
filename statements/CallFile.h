#pragma once

#include <memory>

#include "base/StringClass.h"
#include "files/File.h"

// A file of the data area sent as one part of an OxCALL form: the path it
// was named by, the open file, its content type and the form field.
struct CallFile {
    String filename;
    std::unique_ptr<File> file;
    String content_type;
    String field_name;
};
