#include "vexil/net/GlobalInit.h"

#include "sigil/OpenSSLInit.h"

#include <curl/curl.h>

namespace vexil {

CGlobalInit::CGlobalInit() {
    sigil::COpenSSLInit::ensureInitialized();
    if (curl_global_init(CURL_GLOBAL_ALL) != CURLE_OK) {
        throw CError("curl global init failed");
    }
}

CGlobalInit::~CGlobalInit() = default;

const P<CGlobalInit>& CGlobalInit::get() {
    // Never deleted: objects with static lifetime may still run transfers after any other static object is
    // destroyed.
    static auto* const holder =
        new zet::TSafeGlobal<CGlobalInit>(globalInstanceGuard(), &create, &disposeGlobalInstance);
    return holder->get();
}

void CGlobalInit::ensureInitialized() {
    get();
}

zet::CSafeGlobalGuard& CGlobalInit::globalInstanceGuard() {
    static zet::CSafeGlobalGuard guard;
    return guard;
}

void CGlobalInit::disposeGlobalInstance() {
    get()->dispose();
}

void CGlobalInit::dispose() {}

P<CGlobalInit> CGlobalInit::create() {
    return new CGlobalInit;
}

}  // namespace vexil
