#include "support/linkWraps.h"

#include FT_MODULE_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "support/callLog.h"

HeapWraps heapWraps;
FreeTypeWraps freeTypeWraps;

namespace {

bool watchesFlushes;

bool fails(size_t size) {
    return size == heapWraps.failingSize && size != 0;
}

// Beyond what any heap gives; checkers end the process when they are asked for it.
bool tooLarge(size_t size) {
    return heapWraps.failsNegative && size > SIZE_MAX / 2;
}

// What FreeType rendered last, put back before it looks at its slot again.
FT_GlyphSlot changedSlot;
FT_Bitmap renderedBitmap;

void putBitmapBack() {
    if (changedSlot)
        changedSlot->bitmap = renderedBitmap;
    changedSlot = nullptr;
}

void* counted(void* block) {
    heapWraps.live += block != nullptr;
    return block;
}

}  // namespace

FlushWatch::FlushWatch() {
    watchesFlushes = true;
}

FlushWatch::~FlushWatch() {
    watchesFlushes = false;
}

extern "C" {

void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
char* __real_strdup(const char* text);
void __real_free(void* block);
int __real_fflush(FILE* stream);
FT_Error __real_FT_Init_FreeType(FT_Library* library);
FT_Error __real_FT_Add_Module(FT_Library library, const FT_Module_Class* moduleClass);
FT_Error __real_FT_New_Face(FT_Library library, const char* path, FT_Long index, FT_Face* face);
FT_Error __real_FT_Set_Char_Size(FT_Face face, FT_F26Dot6 width, FT_F26Dot6 height, FT_UInt xDpi,
                                 FT_UInt yDpi);
FT_Error __real_FT_Load_Char(FT_Face face, FT_ULong code, FT_Int32 flags);
FT_Error __real_FT_Done_FreeType(FT_Library library);

void* __wrap_malloc(size_t size) {
    return fails(size) || tooLarge(size) ? nullptr : counted(__real_malloc(size));
}

void* __wrap_calloc(size_t count, size_t size) {
    return fails(count * size) ? nullptr : counted(__real_calloc(count, size));
}

char* __wrap_strdup(const char* text) {
    return static_cast<char*>(counted(__real_strdup(text)));
}

void __wrap_free(void* block) {
    heapWraps.live -= block != nullptr;
    __real_free(block);
}

int __wrap_fflush(FILE* stream) {
    if (watchesFlushes && !stream)
        recordCall("flushall()");
    return __real_fflush(stream);
}

// operator new(size_t, const std::nothrow_t&)
void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
    return heapWraps.failsNew ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

// A FreeType build adds its default modules through the same call; they are kept apart.
FT_Error __wrap_FT_Init_FreeType(FT_Library* library) {
    recordCall("FT_Init_FreeType(%s)", *library ? "library" : "null");
    if (!freeTypeWraps.makesLibrary)
        return freeTypeWraps.initError;
    freeTypeWraps.initialising = true;
    const FT_Error error = __real_FT_Init_FreeType(library);
    freeTypeWraps.initialising = false;
    return freeTypeWraps.initError ? freeTypeWraps.initError : error;
}

FT_Error __wrap_FT_Add_Module(FT_Library library, const FT_Module_Class* moduleClass) {
    if (freeTypeWraps.initialising) {
        freeTypeWraps.defaultModules.push_back(moduleClass->module_name);
        return __real_FT_Add_Module(library, moduleClass);
    }
    recordCall("FT_Add_Module(%s)", moduleClass->module_name);
    const auto scripted = freeTypeWraps.moduleErrors.find(freeTypeWraps.modulesAdded++);
    if (scripted != freeTypeWraps.moduleErrors.end())
        return scripted->second;
    return __real_FT_Add_Module(library, moduleClass);
}

FT_Error __wrap_FT_New_Face(FT_Library library, const char* path, FT_Long index, FT_Face* face) {
    recordCall("FT_New_Face(%s, %ld)", path, index);
    if (freeTypeWraps.newFaceError)
        return freeTypeWraps.newFaceError;
    return __real_FT_New_Face(library, path, index, face);
}

FT_Error __wrap_FT_Set_Char_Size(FT_Face face, FT_F26Dot6 width, FT_F26Dot6 height, FT_UInt xDpi,
                                 FT_UInt yDpi) {
    recordCall("FT_Set_Char_Size(%ld, %ld, %u, %u)", width, height, xDpi, yDpi);
    const FT_Error error = __real_FT_Set_Char_Size(face, width, height, xDpi, yDpi);
    if (freeTypeWraps.afterSetSize)
        freeTypeWraps.afterSetSize(face->size->metrics);
    return freeTypeWraps.setSizeError ? freeTypeWraps.setSizeError : error;
}

FT_Error __wrap_FT_Load_Char(FT_Face face, FT_ULong code, FT_Int32 flags) {
    recordCall("FT_Load_Char(%lu, %d)", code, flags);
    if (freeTypeWraps.unloadable.count(code))
        return 0x13;
    putBitmapBack();
    const FT_Error error = __real_FT_Load_Char(face, code, flags);
    if (error == 0 && freeTypeWraps.afterLoad) {
        changedSlot = face->glyph;
        renderedBitmap = changedSlot->bitmap;
        freeTypeWraps.afterLoad(face, code);
    }
    return error;
}

FT_Error __wrap_FT_Done_FreeType(FT_Library library) {
    recordCall("FT_Done_FreeType(%s)", library ? "library" : "null");
    putBitmapBack();
    const FT_Error error = __real_FT_Done_FreeType(library);
    return freeTypeWraps.doneError ? freeTypeWraps.doneError : error;
}

}  // extern "C"
