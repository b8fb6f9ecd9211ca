// The encoding walker's text output: the JSON text of a record, written
// from the record itself without building a tree first.
#pragma once

#include "codec.h"

namespace jsoncodec {

// Writes the text of the record `src` of `type` exactly as jansson's
// serialiser writes the tree encode_record makes of it, with
// JSON_PRESERVE_ORDER and JSON_INDENT(4) when `pretty`, else JSON_COMPACT:
// one NUL-terminated block from jansson's allocator, released with
// jansson's deallocator.
//
// Returns NULL, leaving nothing allocated, whenever that text cannot be
// written exactly: any fault of the record, a string jansson would refuse
// (the tree then offers it to the conversion hook, which the text output
// never calls), or no memory.
char *write_record_text(const TypeDesc &type, const void *src, bool pretty);

// The same text into *text, or the status of the fault the walk met,
// reported into errbuf at `path`, the root node; or -1 (GAVE_UP) with
// nothing reported, when only jansson's tree can tell (a text that is not
// UTF-8, which the tree offers to the string conversion hook) or memory ran
// out.
int32_t write_text(const TypeDesc &type, const void *src, bool pretty, char **text, char *errbuf, uint64_t errlen,
                   path_node *path);

}  // namespace jsoncodec
