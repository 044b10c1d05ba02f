// Drives all eight services straight at the server, with a proxy that wsdl made from xmlda.wsdl and with Dialect.cs.
// Prints a line per check.
//   with_server VALUES_HOST run_dotnet_client FOLDER

using System;
using System.Linq;
using System.Web.Services.Protocols;

static class Program
{
    static readonly XmlDa service = new XmlDa { Url = Environment.GetEnvironmentVariable("KX_URL") };

    static void Fault(string name, Action call, string code)
    {
        try
        {
            call();
            Checks.Equal(name, "no fault", code);
        }
        catch (SoapException fault)
        {
            Checks.Equal(name, fault.Code.Name, code);
            Checks.Equal(name + ", with a text", fault.Message.Length > 0, true);
        }
    }

    static ItemValue[] Read(params string[] names)
    {
        return service.Read(new Read {
            Options = new Options { ReturnItemTime = true, ReturnItemTimeSpecified = true },
            ItemList = names.Select(name => new ItemName { ItemName1 = name, ClientItemHandle = name }).ToArray()
        }).RItemList;
    }

    static object ReadValue(string name)
    {
        return Read(name)[0].Value;
    }

    static ItemValue[] Write(params ItemValue[] items)
    {
        return service.Write(new Write { ItemList = items, ReturnValuesOnReply = true,
            ReturnValuesOnReplySpecified = true }).RItemList;
    }

    static ItemValue Item(string name, object value)
    {
        return new ItemValue { ItemName = name, Value = value };
    }

    static object WriteValue(string name, object value)
    {
        return Write(Item(name, value))[0].Value;
    }

    // The quality is a property: no reply to a Read has it.
    static string[] ReadQualities(params string[] names)
    {
        return service.GetProperties(new GetProperties {
            ItemIDs = names.Select(name => new ItemName { ItemName1 = name }).ToArray(),
            PropertyNames = new[] { "quality" }, ReturnPropertyValues = true, ReturnPropertyValuesSpecified = true
        }).PropertyLists.Select(list => XmlDa.GetText(list.Properties[0].Value)).ToArray();
    }

    static void CheckStatus()
    {
        GetStatusResponse reply = service.GetStatus(new GetStatus { ClientRequestHandle = "status-1" });
        Checks.Equal("GetStatus returns the handle", reply.GetStatusResult.ClientRequestHandle, "status-1");
        Checks.Equal("the server is running", reply.GetStatusResult.ServerState, "running");
        Checks.Equal("GetStatus tells the interface", reply.Status.SupportedInterfaceVersions,
            new[] { "XML_DA_Version_1_0" });
    }

    static void CheckBrowse()
    {
        Checks.Equal("Browse lists the root",
            service.Browse(new Browse()).Elements.Select(each => each.ItemName).ToArray(),
            new[] { "/values", "/readings" });
        Fault("Browse of an unknown item is a fault", () => service.Browse(new Browse { ItemName = "/none" }),
            "E_UNKNOWNITEMNAME");
    }

    static void CheckRead()
    {
        ItemValue[] items = Read("/readings/good", "/readings/none", "/readings/failed");
        Checks.Equal("Read leaves out what does not exist", items.Select(each => each.ClientItemHandle).ToArray(),
            new[] { "/readings/good", "/readings/failed" });
        Checks.Equal("Read gives a value", items[0].Value, 21.5);
        Checks.Equal("Read gives the time", items[0].TimestampSpecified, true);
        Checks.Equal("the quality of a failed sensor is bad", ReadQualities("/readings/good", "/readings/failed"),
            new[] { "good", "badSensorFailure" });
        Fault("a name that cannot be one is a bad request", () => Read("a//b"), "Client");
    }

    static void CheckWrite()
    {
        Checks.CheckValues(Checks.Values, ReadValue, WriteValue);
        Checks.Equal("Write takes true", WriteValue("/values/boolean", true), true);
        Checks.Equal("Write takes a duration",
            XmlDa.GetText(WriteValue("/values/duration", XmlDa.Typed("xsd:duration", "PT30M"))), "PT30M");
        ItemValue[] items = Write(Item("/readings/good", 1.0), Item("/values/none", 1.0), Item("/values/double", 3.5));
        Checks.Equal("Write leaves out what is refused", items.Select(each => each.ItemName).ToArray(),
            new[] { "/values/double" });
        Fault("Write of another type is a bad request", () => Write(Item("/values/int", 1.0)), "Client");
    }

    static SubscriptionPolledRefreshResponse Poll(DateTime? holdTime, params string[] handles)
    {
        return service.SubscriptionPolledRefresh(new SubscriptionPolledRefresh { ServerSubHandles = handles,
            HoldTime = holdTime ?? default(DateTime), HoldTimeSpecified = holdTime.HasValue });
    }

    static void CheckSubscription()
    {
        SubscribeResponse reply = service.Subscribe(new Subscribe {
            ItemList = new[] { "/values/int", "/values/none" }.Select(name => new ItemName { ItemName1 = name }).ToArray(),
            ReturnValuesOnReply = true, SubscriptionPingRate = 60000, SubscriptionPingRateSpecified = true });
        string handle = reply.ServerSubHandle;
        Checks.Equal("Subscribe gives the values", reply.RItemList.Select(each => each.ItemValue.Value).ToArray(),
            new object[] { 7 });
        Poll(null, handle);

        // In whole milliseconds.
        DateTime holdTime = new DateTime(DateTime.UtcNow.Ticks / 10000 * 10000, DateTimeKind.Utc).AddSeconds(1);
        WriteValue("/values/int", 8);
        SubscriptionPolledRefreshResponse held = Poll(holdTime, handle, "1");
        Checks.Equal("a poll with a hold time is held", DateTime.UtcNow >= holdTime, true);
        Checks.Equal("it gives the change", held.RItemList.Select(each => each.Value).ToArray(), new object[] { 8 });
        Checks.Equal("it names the handle that is none", held.InvalidServerSubHandles, new[] { "1" });

        var cancel = new SubscriptionCancel { ServerSubHandle = handle, ClientRequestHandle = "cancel-1" };
        Checks.Equal("SubscriptionCancel returns the handle",
            service.SubscriptionCancel(cancel).ClientRequestHandle, "cancel-1");
        Fault("a second SubscriptionCancel is a fault", () => service.SubscriptionCancel(cancel), "E_NOSUBSCRIPTION");
    }

    static int Main()
    {
        CheckStatus();
        CheckBrowse();
        CheckRead();
        CheckWrite();
        CheckSubscription();
        return Checks.Finish();
    }
}
