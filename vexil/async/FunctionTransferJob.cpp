#include "vexil/async/FunctionTransferJob.h"

#include <utility>

namespace vexil {

namespace {

using RequestFunction = std::function<void(CNetRequest&)>;
using ErrorFunction = std::function<void(const CError&)>;

class CFunctionTransfer final : public ITransfer {
public:
    explicit CFunctionTransfer(RequestFunction prepare) : m_prepare(std::move(prepare)) {}

    void prepare(CNetRequest& request) override { m_prepare(request); }
    void checkResponse(CNetRequest&) override {}

private:
    RequestFunction m_prepare;
};

class CFunctionTransferJob final : public virtual CBase, public ITransferJob {
public:
    CFunctionTransferJob(RequestFunction prepare, RequestFunction onSuccess, ErrorFunction onFailure)
        : m_transfer(std::move(prepare)), m_onSuccess(std::move(onSuccess)),
          m_onFailure(std::move(onFailure)) {}

    ITransfer& getTransfer() override { return m_transfer; }
    void onSuccess(CNetRequest& request) override {
        if (m_onSuccess) {
            m_onSuccess(request);
        }
    }
    void onFailure(const CError& error) override { m_onFailure(error); }

private:
    CFunctionTransfer m_transfer;
    RequestFunction m_onSuccess;
    ErrorFunction m_onFailure;
};

}  // namespace

P<ITransferJob> makeTransferJob(RequestFunction prepare, RequestFunction onSuccess, ErrorFunction onFailure) {
    if (!prepare || !onFailure) {
        throw CInvalidArgError("makeTransferJob",
                               prepare ? "onFailure must not be null" : "prepare must not be null");
    }
    return new CFunctionTransferJob(std::move(prepare), std::move(onSuccess), std::move(onFailure));
}

}  // namespace vexil
