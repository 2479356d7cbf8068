#include "BarChartPlugin/BarChartSelectedMessage.h"

#include "ProfilerLib/plugin/MessageBuilder.h"
#include "ProfilerLib/plugin/MessageBus.h"

namespace Profiler
{

void gSendBarChartSelected(MessageBus& bus, MessageScope scope, int32_t threadID, double startTime, double endTime,
    const std::vector<AddressElement>& addresses)
{
    static const MessageSchema sSchema{
        "BarChartSelected", {{"ThreadID", EMessageFieldType::Int32}, {"StartTime", EMessageFieldType::Double},
                                {"EndTime", EMessageFieldType::Double}, {"Addresses", EMessageFieldType::Array}}};
    MessageBuilder builder{sSchema};
    builder.WriteInt32("ThreadID", threadID);
    builder.WriteDouble("StartTime", startTime);
    builder.WriteDouble("EndTime", endTime);
    builder.WriteAddresses("Addresses", addresses);
    bus.Send(scope, *builder.Finish());
}

}
