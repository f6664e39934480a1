#include "tests/host/HostFixture.h"

#include <cstring>

// The host calls through slots, so their order is tested through raw vtable
// entries: a first argument that is the object, then the operation's own.
class SlotOrderTest : public HostTest
{
protected:
    template <class Function, class Object, class... Arguments>
    static auto callSlot(Object* object, std::size_t slot, Arguments... arguments)
    {
        void** table = nullptr;
        std::memcpy(&table, static_cast<const void*>(object), sizeof table);
        Function* function = nullptr;
        std::memcpy(&function, &table[slot], sizeof function);
        return function(object, arguments...);
    }

    IDeviceCtrl* device() { return &m_device; }
};

TEST_F(SlotOrderTest, DeviceOperationsStandInTheHostsOrder)
{
    using Init = int(IDeviceCtrl*, const unsigned char*, int);
    using Cleanup = int(IDeviceCtrl*);
    using Collect = int(IDeviceCtrl*, const int*, int);
    using Command = int(IDeviceCtrl*, const char*);
    using Write = int(IDeviceCtrl*, int, DATATYPE, void*);
    using Communication = int(IDeviceCtrl*, ICommunication*);

    const unsigned char blob[] = {0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0};
    EXPECT_EQ(callSlot<Init>(device(), 0, &blob[0], 10), 0);
    ASSERT_NE(m_device.m_data.pDevData, nullptr);
    EXPECT_EQ(m_device.m_data.pDevData->nMaxChannel, 10);

    service().answersAll(2);
    const int wanted[] = {1, 1};
    EXPECT_EQ(callSlot<Collect>(device(), 2, &wanted[0], 2), 8);
    EXPECT_EQ(callSlot<Command>(device(), 3, "REFRESH"), 5);
    char text[] = "x";
    EXPECT_EQ(callSlot<Write>(device(), 4, 0, DATATYPE_STRING, static_cast<void*>(text)), 4);
    EXPECT_EQ(callSlot<Communication>(device(), 5, static_cast<ICommunication*>(&m_communication)),
              0);
    EXPECT_EQ(m_device.m_data.nCommMode, 2);
    EXPECT_EQ(callSlot<Collect>(device(), 6, &wanted[0], 0), kStatusFailed);
    EXPECT_EQ(callSlot<Cleanup>(device(), 1), 0);
    EXPECT_EQ(m_device.m_data.pDevData, nullptr);
}

TEST_F(SlotOrderTest, DeletingDestructorStandsBehindTheOperations)
{
    static int destroyed = 0;
    struct Counting : CDevCtrl {
        ~Counting() override { ++destroyed; }
    };
    using Destroy = void(IDeviceCtrl*);
    // Slots 7 and 8: the complete and the deleting destructor.
    callSlot<Destroy>(static_cast<IDeviceCtrl*>(new Counting), 8);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SlotOrderTest, DatabaseOperationsStandInTheHostsOrder)
{
    host().variables = {{"i", 7}, {"d", 2.5}, {"t", std::string("text")}};
    IDevRtdbCtrl* rtdb = &m_host;
    DATATYPE type = static_cast<DATATYPE>(0);
    int number = 0;
    double real = 0.0;
    std::string text;
    const std::string other = "other";
    EXPECT_EQ((callSlot<int(IDevRtdbCtrl*, const char*, DATATYPE&)>(rtdb, 0, "d", std::ref(type))),
              0);
    EXPECT_EQ(type, DATATYPE_DOUBLE);
    EXPECT_EQ((callSlot<int(IDevRtdbCtrl*, const char*, int*)>(rtdb, 1, "i", &number)), 0);
    EXPECT_EQ(number, 7);
    EXPECT_EQ((callSlot<int(IDevRtdbCtrl*, const char*, double*)>(rtdb, 2, "d", &real)), 0);
    EXPECT_EQ(real, 2.5);
    EXPECT_EQ(
        (callSlot<int(IDevRtdbCtrl*, const char*, std::string&)>(rtdb, 3, "t", std::ref(text))), 0);
    EXPECT_EQ(text, "text");
    callSlot<int(IDevRtdbCtrl*, const char*, int)>(rtdb, 4, "i", 8);
    callSlot<int(IDevRtdbCtrl*, const char*, double)>(rtdb, 5, "d", 3.5);
    callSlot<int(IDevRtdbCtrl*, const char*, const std::string&)>(rtdb, 6, "t", std::cref(other));
    EXPECT_EQ(host().variables["i"], scripted::FakeRtdb::Value(8));
    EXPECT_EQ(host().variables["d"], scripted::FakeRtdb::Value(3.5));
    EXPECT_EQ(host().variables["t"], scripted::FakeRtdb::Value(other));

    EXPECT_EQ((callSlot<int(IDevRtdbCtrl*, int, DATATYPE*)>(rtdb, 7, 1, &type)), 0);
    EXPECT_EQ(type, DATATYPE_INT);
    // 8 to 10 are the runtime's own.
    callSlot<int(IDevRtdbCtrl*, int, int)>(rtdb, 11, 1, 4);
    callSlot<int(IDevRtdbCtrl*, int, double)>(rtdb, 12, 2, 5.5);
    callSlot<int(IDevRtdbCtrl*, int, const std::string&)>(rtdb, 13, 3, std::cref(other));
    ASSERT_EQ(host().published.size(), 3u);
    EXPECT_EQ(host().published[0], std::make_pair(1, scripted::FakeRtdb::Value(4)));
    EXPECT_EQ(host().published[1], std::make_pair(2, scripted::FakeRtdb::Value(5.5)));
    EXPECT_EQ(host().published[2], std::make_pair(3, scripted::FakeRtdb::Value(other)));
}

TEST_F(SlotOrderTest, CommunicationOperationsStandOneAfterTheOther)
{
    ICommunication* communication = &m_communication;
    char name[] = "VPN_1";
    EXPECT_EQ((callSlot<int(ICommunication*, char*)>(communication, 4, &name[0])), 7);
    EXPECT_EQ((callSlot<int(ICommunication*)>(communication, 5)), 1);
}

TEST_F(SlotOrderTest, DriverObjectHandsOutItsVirtualBase)
{
    EXPECT_NE(static_cast<void*>(device()), nullptr);
    EXPECT_EQ(dynamic_cast<void*>(device()), static_cast<void*>(&m_device));
}
