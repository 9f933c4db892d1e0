#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "zet/SafeGlobal.h"

namespace vexil {

/// Starts the TLS layer and libcurl, once a process, when the first request, header list or manager is
/// created. Nothing happens when the library is loaded, and libcurl stays started until the process ends.
///
/// Thread safety: all public members, from any thread.
class VEXIL_API CGlobalInit : public virtual CBase {
public:
    /// The instance, created on first use.
    /// \throws CError "curl global init failed" for the first caller if libcurl cannot start
    ///         (curl_global_init). The failure is final: every other caller gets "Construction of static
    ///         object has failed."
    static const P<CGlobalInit>& get();

    /// get() without the result.
    static void ensureInitialized();

    /// The state of the instance.
    static zet::CSafeGlobalGuard& globalInstanceGuard();

    CGlobalInit(const CGlobalInit&) = delete;
    CGlobalInit& operator=(const CGlobalInit&) = delete;
    ~CGlobalInit() override;

protected:
    CGlobalInit();

    /// Calls dispose() when the process ends.
    static void disposeGlobalInstance();
    /// Does nothing: objects with static lifetime may still run transfers while the process ends.
    void dispose();

private:
    static P<CGlobalInit> create();
};

}  // namespace vexil
