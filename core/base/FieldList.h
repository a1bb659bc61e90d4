#pragma once

#include <type_traits>

namespace vantor {

// Every persisted record lists its members once, for the reader and the writer alike:
//
//     static constexpr char typeName[] = "PublishRecord"; // names the record in refusals
//     template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
//     {
//         v.integer("bytes", self.bytes);
//         ...
//     }
//
// `Self` is the record, const when writing. The visitors (FieldReader, FieldWriter) offer the
// same kinds, each also for a std::optional member, which is absent (or null) when empty:
//   string, integer, number, boolean   plain JSON values
//   uuid                               upper-case canonical text
//   fileUrl, folderUrl                 absolute file URLs; a folder's ends in "/"
//   date                               seconds since 2001 as a number
//   enumeration                        the type's rawValue() text
//   base64                             bytes as base64 text
//   strings, stringMap                 an array of texts; an object of texts
//   record, records                    a nested record; an array of them
//   extraRecords                       an array of records, left out when empty (older files)
//   check(callable)                    called by the reader once the members before it are read
// Members are read in the order listed; the first flaw is the one reported.
template <typename Record, typename Visitor> void visitFields(Record &record, Visitor &visitor)
{
    std::remove_const_t<Record>::fields(record, visitor);
}

} // namespace vantor
