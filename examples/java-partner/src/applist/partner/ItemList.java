package applist.partner;

import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;

/**
 * A list of items and its selection. An object of this class never changes: each operation returns
 * another list. Every thread may therefore read a list at any time, without a lock.
 */
final class ItemList {

    static final ItemList EMPTY = new ItemList(List.of(), null);

    private final List<Item> items;
    private final Item selection;

    private ItemList(List<Item> items, Item selection) {
        this.items = items;
        this.selection = selection;
    }

    List<Item> items() {
        return items;
    }

    int size() {
        return items.size();
    }

    /** The selected item, or null. */
    Item selection() {
        return selection;
    }

    /** Appends the items with a new id. */
    ItemList addMissing(List<Item> added) {
        Set<String> ids = ids(items);
        List<Item> result = new ArrayList<>(items);
        for (Item item : added) {
            if (ids.add(item.id())) {
                result.add(item);
            }
        }
        return new ItemList(List.copyOf(result), selection);
    }

    /** Appends the item, even with an id of the list. */
    ItemList append(Item item) {
        List<Item> result = new ArrayList<>(items);
        result.add(item);
        return new ItemList(List.copyOf(result), selection);
    }

    /** Removes the first item with the id, and its selection. */
    ItemList remove(String id) {
        int index = indexOf(id);
        return index < 0 ? this : removeAt(index);
    }

    /** Removes the item at an index, and its selection. */
    ItemList removeAt(int index) {
        List<Item> result = new ArrayList<>(items);
        Item removed = result.remove(index);
        return new ItemList(List.copyOf(result), removed == selection ? null : selection);
    }

    /** Replaces the first item with the id. A selected item stays selected. */
    ItemList modify(String id, Item item) {
        int index = indexOf(id);
        if (index < 0) {
            return this;
        }
        List<Item> result = new ArrayList<>(items);
        Item replaced = result.set(index, item);
        return new ItemList(List.copyOf(result), replaced == selection ? item : selection);
    }

    /** Selects the first item with the id of the given item, otherwise the given item itself. */
    ItemList select(Item item) {
        int index = indexOf(item.id());
        return new ItemList(items, index < 0 ? item : items.get(index));
    }

    /** Selects the item at an index. */
    ItemList selectAt(int index) {
        return new ItemList(items, items.get(index));
    }

    ItemList selectNone() {
        return new ItemList(items, null);
    }

    /** Whether the other items contain all ids of this list. */
    boolean isPartOf(List<Item> others) {
        return ids(others).containsAll(ids(items));
    }

    int indexOf(String id) {
        for (int i = 0; i < items.size(); i++) {
            if (items.get(i).id().equals(id)) {
                return i;
            }
        }
        return -1;
    }

    private static Set<String> ids(List<Item> items) {
        return items.stream().map(Item::id).collect(Collectors.toCollection(HashSet::new));
    }
}
