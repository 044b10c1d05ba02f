// Drives all eight services through a gateway, with a proxy that wsdl made from the gateway's own description. Prints a
// line per check.
//   with_server VALUES_HOST --gateway GATEWAY run_dotnet_client FOLDER

using System;
using System.Linq;
using System.Threading.Tasks;
using System.Web.Services.Protocols;
using System.Xml;

static class Program
{
    const string Namespace = "http://opcfoundation.org/webservices/XMLDA/1.0/";

    static readonly OpcXmlDa service = new OpcXmlDa { Url = Environment.GetEnvironmentVariable("KX_GATEWAY_URL") };

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
            Checks.Equal(name + ", with the namespace of the code", fault.Code.Namespace, Namespace);
            Checks.Equal(name + ", with a text", fault.Message.Length > 0, true);
        }
    }

    static string GetCode(XmlQualifiedName name)
    {
        return name == null || name.IsEmpty ? "" : name.Namespace == Namespace ? name.Name : name.ToString();
    }

    static ItemValue[] Read(out OPCError[] errors, params string[] names)
    {
        ReplyItemList list;
        var items = names.Select(name => new ReadRequestItem { ItemName = name, ClientItemHandle = name }).ToArray();
        service.Read(new RequestOptions { ReturnItemTime = true }, new ReadRequestItemList { Items = items }, out list,
            out errors);
        return list.Items;
    }

    static object ReadValue(string name)
    {
        OPCError[] errors;
        return Read(out errors, name)[0].Value;
    }

    static ItemValue[] Write(params ItemValue[] items)
    {
        ReplyItemList list;
        OPCError[] errors;
        service.Write(new RequestOptions(), new WriteRequestItemList { Items = items }, true, out list, out errors);
        return list.Items;
    }

    static ItemValue Item(string name, object value)
    {
        return new ItemValue { ItemName = name, Value = value };
    }

    static void CheckStatus()
    {
        ServerStatus status;
        ReplyBase reply = service.GetStatus(null, "status-1", out status);
        Checks.Equal("GetStatus returns the handle", reply.ClientRequestHandle, "status-1");
        Checks.Equal("the server is running", reply.ServerState, serverState.running);
        Checks.Equal("GetStatus tells the interface", status.SupportedInterfaceVersions,
            new[] { interfaceVersion.XML_DA_Version_1_0 });
    }

    static BrowseElement[] Browse(string item, params XmlQualifiedName[] properties)
    {
        BrowseElement[] elements;
        OPCError[] errors;
        bool moreElements;
        string point = null;
        service.Browse(properties, null, null, null, item, ref point, 0, browseFilter.all, null, null, false, true,
            false, out elements, out errors, out moreElements);
        return elements;
    }

    static void CheckBrowse()
    {
        BrowseElement[] root = Browse("");
        Checks.Equal("Browse lists the root", root.Select(each => each.ItemName).ToArray(),
            new[] { "/values", "/readings" });
        Checks.Equal("a branch is no item", root.Select(each => each.IsItem).ToArray(), new[] { false, false });
        BrowseElement[] readings = Browse("/readings", new XmlQualifiedName("quality", Namespace),
            new XmlQualifiedName("engineeringUnits", Namespace));
        Checks.Equal("Browse gives the quality", ((OPCQuality)readings[1].Properties[0].Value).QualityField,
            qualityBits.badSensorFailure);
        Checks.Equal("Browse gives the unit", readings[1].Properties[1].Value, "degC");
        Fault("Browse of an unknown item is a fault", () => Browse("/none"), "E_UNKNOWNITEMNAME");
    }

    static void CheckProperties()
    {
        PropertyReplyList[] lists;
        OPCError[] errors;
        service.GetProperties(new[] { new ItemIdentifier { ItemName = "/values/int" },
            new ItemIdentifier { ItemName = "/values/none" } }, new[] { new XmlQualifiedName("dataType", Namespace) },
            null, null, null, false, true, true, out lists, out errors);
        Checks.Equal("GetProperties answers for each item", lists.Select(each => GetCode(each.ResultID)).ToArray(),
            new[] { "", "E_UNKNOWNITEMNAME" });
        Checks.Equal("GetProperties gives the type", ((XmlQualifiedName)lists[0].Properties[0].Value).Name, "int");
        Checks.Equal("GetProperties gives texts of errors", errors[0].Text.Length > 0, true);
    }

    static void CheckRead()
    {
        OPCError[] errors;
        ItemValue[] items = Read(out errors, "/readings/good", "/readings/failed", "/readings/none");
        Checks.Equal("Read answers in order", items.Select(each => each.ClientItemHandle).ToArray(),
            new[] { "/readings/good", "/readings/failed", "/readings/none" });
        Checks.Equal("Read gives a value", items[0].Value, 21.5);
        Checks.Equal("Read gives the time", items[0].TimestampSpecified, true);
        Checks.Equal("a good value is good", (items[0].Quality ?? new OPCQuality()).QualityField, qualityBits.good);
        Checks.Equal("a failed sensor is bad", items[1].Quality.QualityField, qualityBits.badSensorFailure);
        Checks.Equal("a missing item has a code", GetCode(items[2].ResultID), "E_UNKNOWNITEMNAME");
        Checks.Equal("a missing item has no value", items[2].Value, null);
        Checks.Equal("the code has a text",
            errors.Single(each => GetCode(each.ID) == "E_UNKNOWNITEMNAME").Text.Length > 0, true);
    }

    // A proxy has texts for durations.
    static readonly object[][] durations =
    {
        new object[] { "duration", "P1DT12H", "PT30M" },
        new object[] { "durations", new object[] { "P1DT12H", "PT1M30S" }, new object[] { "PT30M" } },
    };

    static object WriteValue(string name, object value)
    {
        ItemValue written = Write(Item(name, value))[0];
        return written.ResultID == null ? written.Value : GetCode(written.ResultID);
    }

    static void CheckValues()
    {
        Checks.CheckValues(Checks.Values, ReadValue, WriteValue);
        Checks.CheckValues(durations, ReadValue, WriteValue);
        Checks.Equal("Write takes true", Write(Item("/values/boolean", true))[0].Value, true);
        ItemValue bytes = Write(Item("/values/unsignedBytes", new byte[] { 1, 200 }))[0];
        Checks.Equal("Write takes bytes in base 64", GetCode(bytes.ResultID), "");
        Checks.Equal("unsigned bytes in arrays come as signed ones", ReadValue("/values/unsignedBytes"),
            new sbyte[] { 1, -56 });
        Checks.Equal("Write converts a decimal", Write(Item("/values/double", 2.5M))[0].Value, 2.5);
    }

    static void CheckRefusals()
    {
        ItemValue[] items = Write(Item("/readings/good", 1.0), Item("/values/none", 1.0),
            Item("/values/int", "many"), Item("/values/short", 70000), Item("/values/double", 3.5));
        Checks.Equal("Write answers for each item", items.Select(each => GetCode(each.ResultID)).ToArray(),
            new[] { "E_READONLY", "E_UNKNOWNITEMNAME", "E_BADTYPE", "E_RANGE", "" });
        Checks.Equal("one item does not spoil the others", items[4].Value, 3.5);
    }

    static SubscribePolledRefreshReplyItemList[] Poll(string[] handles, DateTime? holdTime, int waitTime,
        out string[] invalid)
    {
        SubscribePolledRefreshReplyItemList[] lists;
        OPCError[] errors;
        bool overflow;
        using (var poller = new OpcXmlDa { Url = service.Url })
            poller.SubscriptionPolledRefresh(new RequestOptions(), handles, holdTime ?? default(DateTime),
                holdTime.HasValue, waitTime, false, out invalid, out lists, out errors, out overflow);
        return lists;
    }

    static void CheckSubscription()
    {
        SubscribeReplyItemList list;
        OPCError[] errors;
        string handle;
        service.Subscribe(new RequestOptions(), new SubscribeRequestItemList { Items = new[] {
            new SubscribeRequestItem { ItemName = "/values/int", ClientItemHandle = "a" },
            new SubscribeRequestItem { ItemName = "/values/none", ClientItemHandle = "b" },
            new SubscribeRequestItem { ItemName = "/readings/failed", ClientItemHandle = "c" } } }, true, 60000, true,
            out list, out errors, out handle);
        ItemValue[] items = list.Items.Select(each => each.ItemValue).ToArray();
        Checks.Equal("Subscribe gives the values", items.Select(each => each.Value).ToArray(),
            new object[] { 7, null, 850.0 });
        Checks.Equal("Subscribe gives codes", items.Select(each => GetCode(each.ResultID)).ToArray(),
            new[] { "", "E_UNKNOWNITEMNAME", "" });
        Checks.Equal("Subscribe gives the quality", items[2].Quality.QualityField, qualityBits.badSensorFailure);

        string[] invalid = null;
        Task<SubscribePolledRefreshReplyItemList[]> waiting =
            Task.Run(() => Poll(new[] { handle, "unknown" }, null, 60000, out invalid));
        Write(Item("/values/int", 8));
        SubscribePolledRefreshReplyItemList[] lists = waiting.Result;
        Checks.Equal("a poll with a wait time gives the change", lists[0].Items.Single().Value, 8);
        Checks.Equal("it names the subscription", lists[0].SubscriptionHandle, handle);
        Checks.Equal("it names the handle that is none", invalid, new[] { "unknown" });

        // In whole milliseconds.
        DateTime holdTime = new DateTime(DateTime.UtcNow.Ticks / 10000 * 10000, DateTimeKind.Utc).AddSeconds(1);
        Write(Item("/values/int", 9));
        lists = Poll(new[] { handle }, holdTime, 0, out invalid);
        Checks.Equal("a poll with a hold time is held", DateTime.UtcNow >= holdTime, true);
        Checks.Equal("it gives the change", lists[0].Items.Single().Value, 9);

        string requestHandle = "cancel-1";
        service.SubscriptionCancel(handle, ref requestHandle);
        Checks.Equal("SubscriptionCancel returns the handle", requestHandle, "cancel-1");
        Fault("a second SubscriptionCancel is a fault", () => service.SubscriptionCancel(handle, ref requestHandle),
            "E_NOSUBSCRIPTION");
    }

    static int Main()
    {
        CheckStatus();
        CheckBrowse();
        CheckProperties();
        CheckRead();
        CheckValues();
        CheckRefusals();
        CheckSubscription();
        return Checks.Finish();
    }
}
