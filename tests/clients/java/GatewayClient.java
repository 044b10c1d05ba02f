// Drives all eight services through a gateway, with classes that wsimport made from the gateway's own description.
// Prints a line per check.
//   with_server VALUES_HOST --gateway GATEWAY run_java_client FOLDER

package xmlda.client;

import static xmlda.client.Checks.array;
import static xmlda.client.Checks.duration;
import static xmlda.client.Checks.equal;
import static xmlda.client.Checks.time;

import java.math.BigDecimal;
import java.net.URL;
import java.time.Instant;
import java.time.temporal.ChronoUnit;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.concurrent.CompletableFuture;
import java.util.stream.Collectors;
import javax.xml.datatype.XMLGregorianCalendar;
import javax.xml.namespace.QName;
import javax.xml.ws.Holder;
import javax.xml.ws.soap.SOAPFaultException;
import xmlda.*;

public class GatewayClient {
    static final String NAMESPACE = "http://opcfoundation.org/webservices/XMLDA/1.0/";

    static Service service;

    static void fault(String name, Runnable call, String code) throws Exception {
        try {
            call.run();
            equal(name, "no fault", code);
        } catch (SOAPFaultException error) {
            equal(name, error.getFault().getFaultCodeAsQName().toString(), "{" + NAMESPACE + "}" + code);
            equal(name + ", with a text", error.getFault().getFaultString().isEmpty(), false);
        }
    }

    static String getCode(QName name) {
        return name == null ? "" : name.getNamespaceURI().equals(NAMESPACE) ? name.getLocalPart() : name.toString();
    }

    static List<String> getCodes(List<ItemValue> items) {
        return items.stream().map(item -> getCode(item.getResultID())).collect(Collectors.toList());
    }

    static List<ItemValue> read(Holder<List<OPCError>> errors, String... names) {
        ReadRequestItemList list = new ReadRequestItemList();
        for (String name : names) {
            ReadRequestItem item = new ReadRequestItem();
            item.setItemName(name);
            item.setClientItemHandle(name);
            list.getItems().add(item);
        }
        RequestOptions options = new RequestOptions();
        options.setReturnItemTime(true);
        Holder<ReplyItemList> reply = new Holder<>();
        service.read(options, list, new Holder<>(), reply, errors);
        return reply.value.getItems();
    }

    static Object readValue(String name) {
        return read(new Holder<>(), name).get(0).getValue();
    }

    static ItemValue item(String name, Object value) {
        ItemValue item = new ItemValue();
        item.setItemName(name);
        item.setValue(value);
        return item;
    }

    static List<ItemValue> write(ItemValue... items) {
        Write request = new Write();
        request.setReturnValuesOnReply(true);
        request.setItemList(new WriteRequestItemList());
        request.getItemList().getItems().addAll(Arrays.asList(items));
        return service.write(request).getRItemList().getItems();
    }

    static void checkStatus() throws Exception {
        GetStatus request = new GetStatus();
        request.setClientRequestHandle("status-1");
        GetStatusResponse reply = service.getStatus(request);
        equal("GetStatus returns the handle", reply.getGetStatusResult().getClientRequestHandle(), "status-1");
        equal("the server is running", reply.getGetStatusResult().getServerState(), ServerState.RUNNING);
        equal("GetStatus tells the interface", reply.getStatus().getSupportedInterfaceVersions(),
            List.of(InterfaceVersion.XML_DA_VERSION_1_0));
    }

    static List<BrowseElement> browse(String item, String... properties) {
        Browse request = new Browse();
        request.setItemName(item);
        request.setReturnPropertyValues(true);
        for (String property : properties) {
            request.getPropertyNames().add(new QName(NAMESPACE, property));
        }
        return service.browse(request).getElements();
    }

    static void checkBrowse() throws Exception {
        List<BrowseElement> root = browse("");
        equal("Browse lists the root", root.stream().map(BrowseElement::getItemName).collect(Collectors.toList()),
            List.of("/values", "/readings"));
        equal("a branch is no item", root.stream().map(BrowseElement::isIsItem).collect(Collectors.toList()),
            List.of(false, false));
        List<ItemProperty> properties = browse("/readings", "quality", "engineeringUnits").get(1).getProperties();
        equal("Browse gives the quality", ((OPCQuality) properties.get(0).getValue()).getQualityField(),
            QualityBits.BAD_SENSOR_FAILURE);
        equal("Browse gives the unit", properties.get(1).getValue(), "degC");
        fault("Browse of an unknown item is a fault", () -> browse("/none"), "E_UNKNOWNITEMNAME");
    }

    static void checkProperties() throws Exception {
        GetProperties request = new GetProperties();
        for (String name : List.of("/values/int", "/values/none")) {
            ItemIdentifier item = new ItemIdentifier();
            item.setItemName(name);
            request.getItemIDs().add(item);
        }
        request.getPropertyNames().add(new QName(NAMESPACE, "dataType"));
        request.setReturnPropertyValues(true);
        request.setReturnErrorText(true);
        GetPropertiesResponse reply = service.getProperties(request);
        equal("GetProperties answers for each item", reply.getPropertyLists().stream()
            .map(list -> getCode(list.getResultID())).collect(Collectors.toList()), List.of("", "E_UNKNOWNITEMNAME"));
        equal("GetProperties gives the type", reply.getPropertyLists().get(0).getProperties().get(0).getValue(),
            new QName("http://www.w3.org/2001/XMLSchema", "int"));
        equal("GetProperties gives texts of errors", reply.getErrors().get(0).getText().isEmpty(), false);
    }

    static void checkRead() throws Exception {
        Holder<List<OPCError>> errors = new Holder<>();
        List<ItemValue> items = read(errors, "/readings/good", "/readings/failed", "/readings/none");
        equal("Read answers in order", items.stream().map(ItemValue::getClientItemHandle).collect(Collectors.toList()),
            List.of("/readings/good", "/readings/failed", "/readings/none"));
        equal("Read gives a value", items.get(0).getValue(), 21.5);
        equal("Read gives the time", items.get(0).getTimestamp() != null, true);
        equal("a good value is good", items.get(0).getQuality() == null
            || items.get(0).getQuality().getQualityField() == QualityBits.GOOD, true);
        equal("a failed sensor is bad", items.get(1).getQuality().getQualityField(), QualityBits.BAD_SENSOR_FAILURE);
        equal("a missing item has a code", getCode(items.get(2).getResultID()), "E_UNKNOWNITEMNAME");
        equal("a missing item has no value", items.get(2).getValue(), null);
        equal("the code has a text", errors.value.stream().anyMatch(error ->
            getCode(error.getID()).equals("E_UNKNOWNITEMNAME") && !error.getText().isEmpty()), true);
    }

    static final Checks.Client variables = new Checks.Client() {
        @Override
        public Object read(String name) {
            return readValue(name);
        }

        @Override
        public Object write(String name, Object value) {
            ItemValue written = GatewayClient.write(item(name, value)).get(0);
            return written.getResultID() == null ? written.getValue() : getCode(written.getResultID());
        }
    };

    static void checkValues() throws Exception {
        Checks.checkValues(variables);
        Checks.checkValue(variables, "durations", array("ArrayOfAnyType", duration("P1DT12H"), duration("PT1M30S")),
            array("ArrayOfAnyType", duration("PT30M")));
        equal("Write takes true", write(item("/values/boolean", true)).get(0).getValue(), true);
        equal("Write takes bytes in base 64",
            getCode(write(item("/values/unsignedBytes", new byte[] {1, (byte) 200})).get(0).getResultID()), "");
        equal("unsigned bytes in arrays come as signed ones", readValue("/values/unsignedBytes"),
            array("ArrayOfByte", (byte) 1, (byte) -56));
        equal("Write converts a decimal", write(item("/values/double", new BigDecimal("2.5"))).get(0).getValue(), 2.5);
    }

    static void checkRefusals() throws Exception {
        List<ItemValue> items = write(item("/readings/good", 1.0), item("/values/none", 1.0),
            item("/values/int", "many"), item("/values/short", 70000), item("/values/double", 3.5));
        equal("Write answers for each item", getCodes(items),
            List.of("E_READONLY", "E_UNKNOWNITEMNAME", "E_BADTYPE", "E_RANGE", ""));
        equal("one item does not spoil the others", items.get(4).getValue(), 3.5);
    }

    static SubscriptionPolledRefreshResponse poll(XMLGregorianCalendar holdTime, int waitTime, String... handles) {
        SubscriptionPolledRefresh request = new SubscriptionPolledRefresh();
        request.getServerSubHandles().addAll(Arrays.asList(handles));
        request.setHoldTime(holdTime);
        request.setWaitTime(waitTime);
        return service.subscriptionPolledRefresh(request);
    }

    static void checkSubscription() throws Exception {
        Subscribe request = new Subscribe();
        request.setReturnValuesOnReply(true);
        request.setSubscriptionPingRate(60000);
        request.setItemList(new SubscribeRequestItemList());
        for (String name : List.of("/values/int", "/values/none", "/readings/failed")) {
            SubscribeRequestItem item = new SubscribeRequestItem();
            item.setItemName(name);
            request.getItemList().getItems().add(item);
        }
        SubscribeResponse reply = service.subscribe(request);
        String handle = reply.getServerSubHandle();
        List<ItemValue> items = reply.getRItemList().getItems().stream().map(SubscribeItemValue::getItemValue)
            .collect(Collectors.toList());
        equal("Subscribe gives the values", items.stream().map(ItemValue::getValue).collect(Collectors.toList()),
            Arrays.asList(7, null, 850.0));
        equal("Subscribe gives codes", getCodes(items), List.of("", "E_UNKNOWNITEMNAME", ""));
        equal("Subscribe gives the quality", items.get(2).getQuality().getQualityField(),
            QualityBits.BAD_SENSOR_FAILURE);

        CompletableFuture<SubscriptionPolledRefreshResponse> waiting =
            CompletableFuture.supplyAsync(() -> poll(null, 60000, handle, "unknown"));
        write(item("/values/int", 8));
        SubscribePolledRefreshReplyItemList list = waiting.get().getRItemList().get(0);
        equal("a poll with a wait time gives the change", list.getItems().stream().map(ItemValue::getValue)
            .collect(Collectors.toList()), List.of(8));
        equal("it names the subscription", list.getSubscriptionHandle(), handle);
        equal("it names the handle that is none", waiting.get().getInvalidServerSubHandles(), List.of("unknown"));

        Instant holdTime = Instant.now().truncatedTo(ChronoUnit.MILLIS).plusSeconds(1);
        write(item("/values/int", 9));
        list = poll(time(holdTime.toString()), 0, handle).getRItemList().get(0);
        equal("a poll with a hold time is held", Instant.now().isBefore(holdTime), false);
        equal("it gives the change", list.getItems().get(0).getValue(), 9);

        SubscriptionCancel cancel = new SubscriptionCancel();
        cancel.setServerSubHandle(handle);
        cancel.setClientRequestHandle("cancel-1");
        equal("SubscriptionCancel returns the handle", service.subscriptionCancel(cancel).getClientRequestHandle(),
            "cancel-1");
        fault("a second SubscriptionCancel is a fault", () -> service.subscriptionCancel(cancel), "E_NOSUBSCRIPTION");
    }

    public static void main(String[] arguments) throws Exception {
        service = new OpcXmlDa(new URL(Objects.requireNonNull(System.getenv("KX_GATEWAY_URL")) + "?wsdl")).getService();
        checkStatus();
        checkBrowse();
        checkProperties();
        checkRead();
        checkValues();
        checkRefusals();
        checkSubscription();
        System.exit(Checks.finish());
    }
}
