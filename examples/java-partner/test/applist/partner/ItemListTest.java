package applist.partner;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;

import java.util.List;

import org.junit.jupiter.api.Test;

class ItemListTest {

    private static final Item CLOCK = new Item("Clock", "1");
    private static final Item MUSIC = new Item("Music", "2");
    private static final Item PHOTOS = new Item("Photos", "3");

    private final ItemList list = ItemList.EMPTY.addMissing(List.of(CLOCK, MUSIC));

    @Test
    void addsOnlyItemsWithANewId() {
        ItemList changed = list.addMissing(List.of(new Item("Other", "1"), PHOTOS, PHOTOS));
        assertEquals(List.of(CLOCK, MUSIC, PHOTOS), changed.items());
    }

    @Test
    void appendsAnItemWithAnIdOfTheList() {
        assertEquals(List.of(CLOCK, MUSIC, CLOCK), list.append(CLOCK).items());
    }

    @Test
    void removesTheFirstItemWithTheId() {
        Item second = new Item("Second clock", "1");
        assertEquals(List.of(MUSIC, second), list.append(second).remove("1").items());
        assertSame(list, list.remove("9"));
    }

    @Test
    void dropsTheSelectionOfARemovedItem() {
        assertNull(list.select(CLOCK).remove("1").selection());
        assertEquals(CLOCK, list.select(CLOCK).remove("2").selection());
    }

    @Test
    void keepsTheSelectionOfTheOtherItemWithTheSameId() {
        ItemList twice = list.append(new Item("Clock", "1")).selectAt(2);
        assertEquals("1", twice.remove("1").selection().id());
    }

    @Test
    void modifiesASelectedItem() {
        Item radio = new Item("Radio", "7");
        ItemList changed = list.select(CLOCK).modify("1", radio);
        assertEquals(List.of(radio, MUSIC), changed.items());
        assertEquals(radio, changed.selection());
        assertEquals(MUSIC, list.select(MUSIC).modify("1", radio).selection());
    }

    @Test
    void selectsItsOwnItemById() {
        assertEquals("Clock", list.select(new Item("Other name", "1")).selection().name());
        assertEquals(PHOTOS, list.select(PHOTOS).selection());
        assertNull(list.select(CLOCK).selectNone().selection());
    }

    @Test
    void neverChanges() {
        list.append(PHOTOS);
        list.remove("1");
        list.select(MUSIC);
        assertEquals(List.of(CLOCK, MUSIC), list.items());
        assertNull(list.selection());
    }
}
