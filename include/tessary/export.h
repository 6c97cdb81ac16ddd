// The visibility mark of everything that libtessary.so exports.
#ifndef TESSARY_EXPORT_H
#define TESSARY_EXPORT_H

#define TESSARY_API __attribute__((visibility("default")))

#endif
