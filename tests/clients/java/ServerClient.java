// Drives all eight services straight at the server, with classes that wsimport made from xmlda.wsdl and with
// Dialect.java. Prints a line per check.
//   with_server VALUES_HOST run_java_client FOLDER

package xmlda.client;

import static xmlda.client.Checks.array;
import static xmlda.client.Checks.duration;
import static xmlda.client.Checks.equal;
import static xmlda.client.Checks.time;

import java.net.URL;
import java.time.Instant;
import java.time.temporal.ChronoUnit;
import java.util.ArrayList;
import java.util.List;
import java.util.Objects;
import java.util.stream.Collectors;
import javax.xml.datatype.XMLGregorianCalendar;
import javax.xml.ws.BindingProvider;
import javax.xml.ws.handler.Handler;
import org.w3c.dom.Element;
import xmlda.*;

public class ServerClient {
    interface Call {
        void run() throws Exception;
    }

    static Dialect server;

    static void fault(String name, Call call, String code) throws Exception {
        try {
            call.run();
            equal(name, "no fault", code);
        } catch (Dialect.Fault error) {
            equal(name, error.code, code);
            equal(name + ", with a text", error.getMessage().isEmpty(), false);
        }
    }

    static ItemNameList names(String... names) {
        ItemNameList list = new ItemNameList();
        for (String name : names) {
            ItemName item = new ItemName();
            item.setItemName(name);
            item.setClientItemHandle(name);
            list.getItems().add(item);
        }
        return list;
    }

    static List<ItemValue> read(String... names) throws Exception {
        Read request = new Read();
        request.setOptions(new Options());
        request.getOptions().setReturnItemTime(true);
        request.setItemList(names(names));
        return server.call(request, ReadResponse.class).getRItemList().getItems();
    }

    static ItemValue item(String name, Object value) {
        ItemValue item = new ItemValue();
        item.setItemName(name);
        item.setValue(value);
        return item;
    }

    static Write createWrite(ItemValue... items) {
        Write request = new Write();
        request.setReturnValuesOnReply(true);
        request.setItemList(new ItemValueList());
        request.getItemList().getItems().addAll(List.of(items));
        return request;
    }

    static List<ItemValue> write(ItemValue... items) throws Exception {
        return server.call(createWrite(items), WriteResponse.class).getRItemList().getItems();
    }

    static final Checks.Client variables = new Checks.Client() {
        @Override
        public Object read(String name) throws Exception {
            return ServerClient.read(name).get(0).getValue();
        }

        @Override
        public Object write(String name, Object value) throws Exception {
            String type = name.substring(name.lastIndexOf('/') + 1);
            boolean isUnsigned = type.startsWith("unsigned") && !type.endsWith("s");
            Object sent = isUnsigned ? Dialect.typed("xsd:" + type, value.toString()) : value;
            return ServerClient.write(item(name, sent)).get(0).getValue();
        }
    };

    // The quality is a property: no reply to a Read has it.
    static List<String> readQualities(String... names) throws Exception {
        GetProperties request = new GetProperties();
        request.getItemIDs().addAll(names(names).getItems());
        request.getPropertyNames().add("quality");
        request.setReturnPropertyValues(true);
        List<String> qualities = new ArrayList<>();
        for (var list : server.call(request, GetPropertiesResponse.class).getPropertyLists()) {
            qualities.add(((Element) list.getProperties().get(0).getValue()).getTextContent());
        }
        return qualities;
    }

    static void checkStatus() throws Exception {
        GetStatus request = new GetStatus();
        request.setClientRequestHandle("status-1");
        GetStatusResponse reply = server.call(request, GetStatusResponse.class);
        equal("GetStatus returns the handle", reply.getGetStatusResult().getClientRequestHandle(), "status-1");
        equal("the server is running", reply.getGetStatusResult().getServerState(), "running");
        equal("GetStatus tells the interface", reply.getStatus().getSupportedInterfaceVersions(),
            List.of("XML_DA_Version_1_0"));
    }

    static void checkBrowse() throws Exception {
        equal("Browse lists the root", server.call(new Browse(), BrowseResponse.class).getElements().stream()
            .map(BrowseResponse.Elements::getItemName).collect(Collectors.toList()), List.of("/values", "/readings"));
        Browse request = new Browse();
        request.setItemName("/none");
        fault("Browse of an unknown item is a fault", () -> server.call(request, BrowseResponse.class),
            "E_UNKNOWNITEMNAME");
    }

    static void checkRead() throws Exception {
        List<ItemValue> items = read("/readings/good", "/readings/none", "/readings/failed");
        equal("Read leaves out what does not exist",
            items.stream().map(ItemValue::getClientItemHandle).collect(Collectors.toList()),
            List.of("/readings/good", "/readings/failed"));
        equal("Read gives a value", items.get(0).getValue(), 21.5);
        equal("Read gives the time", items.get(0).getTimestamp() != null, true);
        equal("the quality of a failed sensor is bad", readQualities("/readings/good", "/readings/failed"),
            List.of("good", "badSensorFailure"));
        fault("a name that cannot be one is a bad request", () -> read("a//b"), "Client");
    }

    static void checkWrite() throws Exception {
        Checks.checkValues(variables);
        Checks.checkValue(variables, "durations", array("ArrayOfDuration", duration("P1DT12H"), duration("PT1M30S")),
            array("ArrayOfDuration", duration("PT30M")));
        equal("Write takes true", variables.write("/values/boolean", true), true);
        List<ItemValue> items =
            write(item("/readings/good", 1.0), item("/values/none", 1.0), item("/values/double", 3.5));
        equal("Write leaves out what is refused", items.stream().map(ItemValue::getItemName)
            .collect(Collectors.toList()), List.of("/values/double"));
        fault("Write of another type is a bad request", () -> write(item("/values/int", 1.0)), "Client");
    }

    // A port of JAX-WS, with the handler.
    static void checkPort() throws Exception {
        DataAccess port = new XmlDa(new URL("file:" + System.getenv("KX_DESCRIPTION"))).getDataAccess();
        BindingProvider provider = (BindingProvider) port;
        provider.getRequestContext().put(BindingProvider.ENDPOINT_ADDRESS_PROPERTY, System.getenv("KX_URL"));
        List<Handler> handlers = provider.getBinding().getHandlerChain();
        handlers.add(server);
        provider.getBinding().setHandlerChain(handlers);
        List<ItemValue> items = port.write(createWrite(item("/values/boolean", true), item("/values/int", 6),
            item("/values/ints", array("ArrayOfInt", 1, 2)))).getRItemList().getItems();
        equal("a port writes with the handler", items.stream().map(ItemValue::getValue).collect(Collectors.toList()),
            List.of(true, 6, array("ArrayOfInt", 1, 2)));
    }

    static SubscriptionPolledRefreshResponse poll(XMLGregorianCalendar holdTime, String... handles) throws Exception {
        SubscriptionPolledRefresh request = new SubscriptionPolledRefresh();
        request.getServerSubHandles().addAll(List.of(handles));
        request.setHoldTime(holdTime);
        return server.call(request, SubscriptionPolledRefreshResponse.class);
    }

    static void checkSubscription() throws Exception {
        Subscribe request = new Subscribe();
        request.setReturnValuesOnReply(true);
        request.setSubscriptionPingRate(60000);
        request.setItemList(names("/values/int", "/values/none"));
        SubscribeResponse reply = server.call(request, SubscribeResponse.class);
        String handle = reply.getServerSubHandle();
        equal("Subscribe gives the values", reply.getRItemList().getItems().stream()
            .map(each -> each.getItemValue().getValue()).collect(Collectors.toList()), List.of(6));
        poll(null, handle);

        Instant holdTime = Instant.now().truncatedTo(ChronoUnit.MILLIS).plusSeconds(1);
        variables.write("/values/int", 8);
        SubscriptionPolledRefreshResponse held = poll(time(holdTime.toString()), handle, "1");
        equal("a poll with a hold time is held", Instant.now().isBefore(holdTime), false);
        equal("it gives the change", held.getRItemList().getItems().stream().map(ItemValue::getValue)
            .collect(Collectors.toList()), List.of(8));
        equal("it names the handle that is none", held.getInvalidServerSubHandles(), List.of("1"));

        SubscriptionCancel cancel = new SubscriptionCancel();
        cancel.setServerSubHandle(handle);
        cancel.setClientRequestHandle("cancel-1");
        equal("SubscriptionCancel returns the handle",
            server.call(cancel, SubscriptionCancelResponse.class).getClientRequestHandle(), "cancel-1");
        fault("a second SubscriptionCancel is a fault", () -> server.call(cancel, SubscriptionCancelResponse.class),
            "E_NOSUBSCRIPTION");
    }

    public static void main(String[] arguments) throws Exception {
        server = new Dialect(Objects.requireNonNull(System.getenv("KX_URL")));
        checkStatus();
        checkBrowse();
        checkRead();
        checkWrite();
        checkPort();
        checkSubscription();
        System.exit(Checks.finish());
    }
}
