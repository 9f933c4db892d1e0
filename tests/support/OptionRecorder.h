/// \file
/// Records every option that libcurl is given, in order, with its C type and value, and can make some fail.
/// Use it in one source of a separate program: it defines libcurl's function, passes the calls on, and the
/// program exports its symbols.
#pragma once

#include <curl/curl.h>

#include <cstdarg>
#include <dlfcn.h>
#include <mutex>
#include <string>
#include <vector>

#undef curl_easy_setopt

namespace vexil_test {

struct RecordedOption {
    std::string
        text;  ///< "MAIL_FROM='a@x'", "UPLOAD=1L", "INFILESIZE_LARGE=5OFF", "MAIL_RCPT=[a|b]", "URL fails"
    const void* pointer = nullptr;
    const void* handle = nullptr;
};

inline std::vector<RecordedOption> events;
inline bool isRecording = false;
inline int optionsUntilFailure = -1;  ///< 0: the next one fails
inline void (*onRecord)() = [] {};    ///< called before an event is recorded

template <class Function>
Function* nextFunction(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Any thread.
inline void record(const std::string& text, const void* pointer = nullptr, const void* handle = nullptr) {
    static std::mutex mutex;
    const std::scoped_lock lock(mutex);
    if (isRecording) {
        onRecord();
        events.push_back({text, pointer, handle});
    }
}

inline std::string listText(const curl_slist* list) {
    std::string text = "[";
    for (; list; list = list->next) {
        text += std::string(list->data) + (list->next ? "|" : "");
    }
    return text + "]";
}

/// The value of an option, with the type of that option.
inline std::string valueText(const curl_easyoption& option, void* pointer) {
    if (!pointer) {
        return "null";
    }
    switch (option.type) {
    case CURLOT_STRING:
        return "'" + std::string(static_cast<const char*>(pointer)) + "'";
    case CURLOT_SLIST:
        return listText(static_cast<const curl_slist*>(pointer));
    case CURLOT_FUNCTION:
        return "function";
    default:
        return "pointer";
    }
}

}  // namespace vexil_test

extern "C" CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    using namespace vexil_test;
    static auto* const real = nextFunction<CURLcode(CURL*, CURLoption, ...)>("curl_easy_setopt");
    const curl_easyoption* const known = curl_easy_option_by_id(option);
    const std::string name = known ? known->name : std::to_string(option);
    if (optionsUntilFailure >= 0 && optionsUntilFailure-- == 0) {
        record(name + " fails");
        return CURLE_OUT_OF_MEMORY;
    }
    va_list arguments;
    va_start(arguments, option);
    CURLcode result = CURLE_OK;
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        const long value = va_arg(arguments, long);
        record(name + "=" + std::to_string(value) + "L", nullptr, handle);
        result = real(handle, option, value);
    } else if (option >= CURLOPTTYPE_OFF_T && option < CURLOPTTYPE_BLOB) {
        const curl_off_t value = va_arg(arguments, curl_off_t);
        record(name + "=" + std::to_string(value) + "OFF", nullptr, handle);
        result = real(handle, option, value);
    } else {
        void* const value = va_arg(arguments, void*);
        record(name + "=" + (known ? valueText(*known, value) : "?"), value, handle);
        result = real(handle, option, value);
    }
    va_end(arguments);
    return result;
}
