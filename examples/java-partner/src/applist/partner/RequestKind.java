package applist.partner;

/** The requests of the host, with the number of their item records. */
enum RequestKind {
    APPLIST_SET_SELECTION_FNC(2000, 1, 1),
    APPLIST_GET_SELECTION_FNC(2001, 0, 0),
    APPLIST_REMOVE_ALL_ITEMS_FNC(2003, 0, 0),
    APPLIST_ADD_ITEMS_FNC(2004, 1, Integer.MAX_VALUE),
    APPLIST_ADD_ITEM_AT_END_FNC(2005, 1, 1),
    APPLIST_SET_CLICKED_FNC(2006, 1, 1),
    APPLIST_REMOVE_ITEM_FNC(2007, 1, 1),
    /** The first record is the old item, the second one the new item. */
    APPLIST_MODIFY_ITEM_FNC(2008, 2, 2);

    final int id;
    final int fewestItems;
    final int mostItems;

    RequestKind(int id, int fewestItems, int mostItems) {
        this.id = id;
        this.fewestItems = fewestItems;
        this.mostItems = mostItems;
    }

    /** The kind of an id, or null for the id of no request. */
    static RequestKind of(int id) {
        for (RequestKind kind : values()) {
            if (kind.id == id) {
                return kind;
            }
        }
        return null;
    }

    /** Name and id for the output. */
    String title() {
        return name() + " (" + id + ")";
    }
}
