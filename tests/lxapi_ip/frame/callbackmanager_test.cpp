// The callback registry: firing order survives a faulty callback, and every registration ends once.
#include <lxsdkcommon/lxcallbackmanager.h>

#include <GenICam/GCException.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {
struct Recorder : ILxCallback {
    std::vector<int>* log;
    int id;
    bool fails;
    int* released;
    Recorder(std::vector<int>* l, int i, bool f, int* r) : log(l), id(i), fails(f), released(r) {}
    void OnCallback(ILxCallbackParamBase* p) override {
        log->push_back(id * 1000 + int(p->GetCallbackType()));
        if (fails) throw std::runtime_error("fails");
    }
    void Release() override {
        ++*released;
        delete this;
    }
};
struct NoParam : ILxCallbackParamBase {};
} // namespace

TEST(CallbackManager, FiresEveryCallbackDespiteFailures) {
    std::vector<int> log;
    int released = 0;
    {
        CLxCallbackManager manager;
        CLxCallbackParamBase<NoParam> param(7);
        manager.FireCallback(&param); // empty: nothing
        const LX_CALLBACK_HANDLE a = manager.RegisterCallback(new Recorder(&log, 1, true, &released));
        const LX_CALLBACK_HANDLE b = manager.RegisterCallback(new Recorder(&log, 2, false, &released));
        manager.RegisterCallback(nullptr); // stored as given; skipped at events
        EXPECT_NO_THROW(manager.FireCallback(&param));
        ASSERT_EQ(log.size(), 2u);
        // Order of firing is the order of the handles (entry addresses).
        EXPECT_EQ(log[0], (a < b ? 1 : 2) * 1000 + 7);
        manager.DeregisterCallback(a);
        EXPECT_THROW(manager.DeregisterCallback(a), GenICam::InvalidArgumentException);
        EXPECT_EQ(released, 1);
    }
    EXPECT_EQ(released, 2);
}
