// The client's keep-alive responder, without a daemon: each keep-alive is
// answered at once, on the thread that delivered it, with the same number;
// anything else is refused without an answer. With a daemon (an owner that
// answers is never taken as frozen): daemon_presence_test.cpp.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ipc_errors.h"
#include "ipc_object_stub.h"
#include "keep_alive_responder.h"
#include "message_option.h"
#include "message_parcel.h"
#include "nav_info_service_ipc.h"

namespace OHOS::NavigationInfoService {
namespace {

// Stands for the daemon's root object: records the answers it gets.
class RecordingService : public IPCObjectStub {
public:
    struct Answer {
        uint32_t code;
        bool oneway;
        uint64_t sequence;
        std::thread::id thread;
    };
    RecordingService() : IPCObjectStub(NavInfoServiceDescriptor()) {}
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel&, MessageOption& option) override
    {
        Answer answer{code, (option.GetFlags() & MessageOption::TF_ASYNC) != 0, 0, std::this_thread::get_id()};
        if (data.ReadInterfaceToken() != NavInfoServiceDescriptor() || !data.ReadUint64(answer.sequence)) {
            return IPC_ERR_INVALID_DATA;
        }
        answers.push_back(answer);
        return IPC_OK;
    }
    std::vector<Answer> answers;
};

int Deliver(const sptr<IRemoteObject>& responder, uint32_t code, const std::u16string& token, uint64_t sequence)
{
    MessageParcel data;
    MessageParcel reply;
    MessageOption option(MessageOption::TF_ASYNC);
    data.WriteInterfaceToken(token);
    data.WriteUint64(sequence);
    return responder->SendRequest(code, data, reply, option);
}

TEST(KeepAliveResponder, AnswersEachKeepAliveWithItsNumberOnTheDeliveringThreadAndNothingElse)
{
    sptr<RecordingService> service = new RecordingService();
    sptr<IRemoteObject> responder = new KeepAliveResponder(service);
    struct Row {
        const char* what;
        uint32_t code;
        std::u16string token;
        uint64_t sequence;
        bool answered;
    };
    const Row rows[] = {
        {"a keep-alive", KEEP_ALIVE, KeepAliveDescriptor(), 7, true},
        {"the next one", KEEP_ALIVE, KeepAliveDescriptor(), 8, true},
        {"another code", KEEP_ALIVE + 1, KeepAliveDescriptor(), 9, false},
        {"another interface", KEEP_ALIVE, NavInfoServiceDescriptor(), 10, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        size_t before = service->answers.size();
        int status = Deliver(responder, row.code, row.token, row.sequence);
        EXPECT_EQ(status == IPC_OK, row.answered);
        ASSERT_EQ(service->answers.size(), before + (row.answered ? 1 : 0));
        if (row.answered) {
            const RecordingService::Answer& answer = service->answers.back();
            EXPECT_EQ(answer.code, SVC_KEEP_ALIVE_ANSWER);
            EXPECT_TRUE(answer.oneway) << "the answer never waits for the daemon";
            EXPECT_EQ(answer.sequence, row.sequence);
            EXPECT_EQ(answer.thread, std::this_thread::get_id()) << "answered on the delivering IPC thread";
        }
    }
}

TEST(KeepAliveResponder, AResponderWhoseServiceIsGoneAnswersNothing)
{
    sptr<RecordingService> service = new RecordingService();
    sptr<IRemoteObject> responder = new KeepAliveResponder(service);
    service = nullptr;
    EXPECT_EQ(Deliver(responder, KEEP_ALIVE, KeepAliveDescriptor(), 1), IPC_ERR_DEAD_OBJECT);
}

} // namespace
} // namespace OHOS::NavigationInfoService
